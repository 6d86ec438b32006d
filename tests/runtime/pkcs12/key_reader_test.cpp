#include "runtime/crypto_fixture.h"
#include "runtime/samples.h"
#include "support/sweep.h"

namespace vexa::test {
namespace {

// P-256: what `openssl ecparam -genkey` and `openssl pkcs8 -topk8` write of one key.
constexpr char kEcKey[] =
    "3077020101042001010101010101010101010101010101010101010101010101010101010101"
    "01a00a06082a8648ce3d030107a144034200046ff03b949241ce1dadd43519e6960e0a85b41a69a05c328103aa2bce"
    "1594ca163c4f753a55bf01dc53f6c0b0c7eee78b40c6ff7d25a96e2282b989cef71c144a";

// The same key, encrypted with "secret": PBES2 with AES-256, and the scheme of PKCS#12.
constexpr char kAesKey[] =
    "3081eb305606092a864886f70d01050d3049302806092a864886f70d01050c301b0408be4c8776a5567cfe02"
    "0102300c06082a864886f70d02090500301d060960864801650304012a0410077f9de85ebf8411e43c10cfa9"
    "03b31c04819002fe3f96c5a9b1536c921a7a3612273c93fa6f19564a84ba7cf2aaad614f8719029d09c335ff"
    "b102a160c579047818b6a9c27046d1424c1926cedfd5818bbd98563ce5e24ad0c20d80df196089080c9ccf41"
    "1fcd19608e78ba9000c9aa971703dd2f78da4a20c721fc9401d03ced4666dbadce25fa338ae1b7163476d91c"
    "1576cdd1776b9d485a08069a93c6553f7ac7";
constexpr char kTripleDesKey[] =
    "3081b0301b060a2a864886f70d010c0103300d0408b5f469e5cbed41fe02010204819095d4650008508e6651"
    "0a114560b120b5d0e1833424135a8000f63e7a2a36b4f9fad3dd49c36d97a8462b4173e0f98ef00ab60907be"
    "f38e491cbf930f30b3831707562214a847666c46ee4d1eb1e6c0469987424c97ded98c4be3f0b11eda214cc4"
    "d5e4c958f37ce9ed8d142f5a241e6ff568c69c88f4ccb868f172f61adc3b9042b6da477975404611a640186e"
    "ed35e0";

class KeyReaderTest : public CryptoTest {
 protected:
  int32_t read(const std::string& der, const char* password, HeldKey& key) {
    const ExactBytes exact(der);
    const runtime::ByteBuffer buffer = exact.buffer();
    return velmora_key_read(&buffer, password, key.put(), &reason_);
  }

  std::string privateBytes(const HeldKey& key) {
    return std::string(reinterpret_cast<const char*>(key->privateKey.bytes),
                       key->privateKey.bitLength / 8);
  }

  std::string reason() const { return reason_ == nullptr ? "(none)" : reason_; }

 private:
  const char* reason_ = nullptr;
};

TEST_F(KeyReaderTest, RsaKeysGetTheirPublicHalf) {
  HeldKey key;
  ASSERT_EQ(read(fromHex(samples::kLeafKey), nullptr, key), kOk);
  EXPECT_EQ(reason(), "(none)");
  const OwnedCertificate leaf = certificate(samples::kLeaf);
  EXPECT_EQ(velmora_key_check_pair(key.get(), leaf->table->GetPublicKey(leaf.get())), kOk);
  const OwnedCertificate root = certificate(samples::kRoot);
  EXPECT_EQ(velmora_key_check_pair(key.get(), root->table->GetPublicKey(root.get())), kFail);
  EXPECT_EQ(velmora_key_check_pair(key.get(), &key->publicKey), kOk);
}

TEST_F(KeyReaderTest, KeysOnCurvesGetTheirPublicHalf) {
  HeldKey key;
  ASSERT_EQ(read(fromHex(kEcKey), nullptr, key), kOk);
  EXPECT_EQ(privateBytes(key), fromHex(kEcKey));
  EXPECT_EQ(toHex(key->publicKey.bytes, key->publicKey.bitLength / 8),
            std::string(kEcKey).substr(std::string(kEcKey).size() - 130));
}

TEST_F(KeyReaderTest, WhatIsNoKeyIsRefusedWithAReason) {
  HeldKey key;
  const std::string whole = fromHex(kEcKey);
  for (const std::string& der :
       {std::string(), std::string("text"), fromHex("3000"), fromHex("3003020100"),
        fromHex(samples::kLeaf), whole.substr(0, whole.size() - 1), whole + '\0'}) {
    EXPECT_EQ(read(der, nullptr, key), kInvalidArgument) << toHex(der.data(), der.size());
    EXPECT_NE(reason(), "(none)");
    EXPECT_EQ(key.get(), nullptr);
  }
}

TEST_F(KeyReaderTest, UnknownCurvesAndKindsAreToldApart) {
  HeldKey key;
  std::string other = fromHex(kEcKey);
  other[other.find("\x03\x01\x07") + 2] = 1;  // P-192
  EXPECT_EQ(read(other, nullptr, key), kNotImplemented);
  EXPECT_EQ(reason(), "the key is not on P-256, P-384 or P-521");
  // Ed25519 in a PrivateKeyInfo.
  const std::string edwards = fromHex(
      "302e020100300506032b657004220420"
      "9d61b19deffd5a60ba844af492ec2cc44449c5697b326919703bac031cae7f60");
  EXPECT_EQ(read(edwards, nullptr, key), kNotImplemented);
  EXPECT_NE(reason(), "(none)");
}

TEST_F(KeyReaderTest, EncryptedKeysOpenWithTheirPassword) {
  HeldKey plain, key;
  ASSERT_EQ(read(fromHex(kEcKey), nullptr, plain), kOk);
  for (const char* hex : {kAesKey, kTripleDesKey}) {
    ASSERT_EQ(read(fromHex(hex), "secret", key), kOk) << reason();
    EXPECT_EQ(velmora_key_check_pair(key.get(), &plain->publicKey), kOk);
    for (const char* wrong : {"other", "", static_cast<const char*>(nullptr)}) {
      EXPECT_EQ(read(fromHex(hex), wrong, key), kAccessDenied);
      EXPECT_EQ(reason(), "the password of the key is wrong or missing");
      EXPECT_EQ(key.get(), nullptr);
    }
  }
}

TEST_F(KeyReaderTest, AnUnknownEncryptionIsToldApart) {
  HeldKey key;
  std::string other = fromHex(kTripleDesKey);
  other[other.find("\x0c\x01\x03") + 2] = 9;
  EXPECT_EQ(read(other, "secret", key), kNotImplemented);
  EXPECT_EQ(reason(), "the key is encrypted in a way that is not known here");
}

TEST_F(KeyReaderTest, NullIsRefused) {
  HeldKey key;
  const runtime::ByteBuffer empty{};
  EXPECT_EQ(velmora_key_read(nullptr, nullptr, key.put(), nullptr), kNullPointer);
  EXPECT_EQ(velmora_key_read(&empty, nullptr, nullptr, nullptr), kNullPointer);
  EXPECT_EQ(velmora_key_check_pair(nullptr, nullptr), kNullPointer);
}

TEST_F(KeyReaderTest, EveryFailedAllocationIsSurvived) {
  const std::string der = fromHex(kEcKey);
  const int swept = sweepAllocations(spy, [&] {
    HeldKey key;
    const int32_t result = read(der, nullptr, key);
    EXPECT_TRUE(result == kOk || result == kOutOfMemory) << result;
    EXPECT_EQ(key.get() != nullptr, result == kOk);
    return result == kOk;
  });
  EXPECT_GT(swept, 3);
}

class Pkcs12ProblemTest : public CryptoTest {
 protected:
  uint32_t problemOf(const std::string& file, const char* password) {
    const ExactBytes exact(file);
    const runtime::ByteBuffer buffer = exact.buffer();
    uint32_t problem = ~0u;
    EXPECT_EQ(velmora_pkcs12_problem(&buffer, password, &problem), kOk);
    return problem;
  }
};

TEST_F(Pkcs12ProblemTest, SaysWhatStandsInTheWay) {
  const std::string file = fromHex(samples::kRc4Pfx);
  EXPECT_EQ(problemOf(file, "secret"), kVelmoraPkcs12Fine);
  EXPECT_EQ(problemOf(file, "other"), kVelmoraPkcs12Password);
  EXPECT_EQ(problemOf(file, nullptr), kVelmoraPkcs12Password);
  EXPECT_EQ(problemOf(file.substr(0, file.size() / 2), "secret"), kVelmoraPkcs12Damaged);
  EXPECT_EQ(problemOf("", "secret"), kVelmoraNotPkcs12);
  EXPECT_EQ(problemOf("text", "secret"), kVelmoraNotPkcs12);
  EXPECT_EQ(problemOf(fromHex(samples::kLeaf), "secret"), kVelmoraNotPkcs12);
  EXPECT_EQ(problemOf(fromHex(samples::kNoMacPfx), "secret"), kVelmoraPkcs12NoMac);
}

TEST_F(Pkcs12ProblemTest, NullIsRefused) {
  const runtime::ByteBuffer empty{};
  uint32_t problem = 0;
  EXPECT_EQ(velmora_pkcs12_problem(nullptr, "", &problem), kNullPointer);
  EXPECT_EQ(velmora_pkcs12_problem(&empty, "", nullptr), kNullPointer);
}

}  // namespace
}  // namespace vexa::test
