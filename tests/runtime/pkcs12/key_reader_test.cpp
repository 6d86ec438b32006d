#include "runtime/crypto_fixture.h"
#include "runtime/pkcs12/pfx_maker.h"
#include "runtime/samples.h"
#include "support/sweep.h"

namespace vexa::test {
namespace {

class KeyReaderTest : public CryptoTest {
 protected:
  int32_t read(std::string_view der, const char* password, HeldKey& key) {
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
  ASSERT_EQ(read(samples::kLeafKey, nullptr, key), kOk);
  EXPECT_EQ(reason(), "(none)");
  const OwnedCertificate leaf = certificate(samples::kLeaf);
  EXPECT_EQ(velmora_key_check_pair(key.get(), leaf->table->GetPublicKey(leaf.get())), kOk);
  const OwnedCertificate root = certificate(samples::kRoot);
  EXPECT_EQ(velmora_key_check_pair(key.get(), root->table->GetPublicKey(root.get())), kFail);
  EXPECT_EQ(velmora_key_check_pair(key.get(), &key->publicKey), kOk);
}

TEST_F(KeyReaderTest, KeysOnCurvesGetTheirPublicHalf) {
  HeldKey key;
  ASSERT_EQ(read(samples::kEcKey, nullptr, key), kOk);
  EXPECT_EQ(privateBytes(key), samples::kEcKey);
  const std::string_view publicKey = samples::kEcKey.substr(samples::kEcKey.size() - 65);
  EXPECT_EQ(toHex(key->publicKey.bytes, key->publicKey.bitLength / 8),
            toHex(publicKey.data(), publicKey.size()));
}

TEST_F(KeyReaderTest, WhatIsNoKeyIsRefusedWithAReason) {
  HeldKey key;
  const std::string whole(samples::kEcKey);
  for (const std::string& der :
       {std::string(), std::string("text"), fromHex("3000"), fromHex("3003020100"),
        fromHex("30050403020100"), fromHex("30050201000400"), fromHex("3007020100300004"),
        fromHex("300702010030000400"),
        fromHex("30040500"
                "0500"),
        std::string(samples::kLeaf), whole.substr(0, whole.size() - 1), whole + '\0'}) {
    EXPECT_EQ(read(der, nullptr, key), kInvalidArgument) << toHex(der.data(), der.size());
    EXPECT_EQ(reason(), "this is not the encoding of a private key");
    EXPECT_EQ(key.get(), nullptr);
  }
}

TEST_F(KeyReaderTest, UnknownCurvesAndKindsAreToldApart) {
  HeldKey key;
  std::string other(samples::kEcKey);
  other[other.find("\x03\x01\x07") + 2] = 1;  // P-192
  EXPECT_EQ(read(other, nullptr, key), kNotImplemented);
  EXPECT_EQ(reason(), "the key is not on P-256, P-384 or P-521");
  // Ed25519 in a PrivateKeyInfo.
  const std::string edwards = fromHex(
      "302e020100300506032b657004220420"
      "9d61b19deffd5a60ba844af492ec2cc44449c5697b326919703bac031cae7f60");
  EXPECT_EQ(read(edwards, nullptr, key), kNotImplemented);
  EXPECT_EQ(reason(), "the key is neither a sound RSA key nor one on P-256, P-384 or P-521");
}

// A key on a curve is a number from 1 to the order of its points less one.
TEST_F(KeyReaderTest, NumbersThatAreNoKeysOfTheirCurveAreRefused) {
  constexpr char kOrder[] = "ffffffff00000000ffffffffffffffffbce6faada7179e84f3b9cac2fc632551";
  const std::string sample(samples::kEcKey);
  ASSERT_EQ(toHex(sample.data() + 2, 5), "0201010420");
  const auto withNumber = [&sample](std::string number) {
    std::string der = sample;
    return der.replace(7, number.size(), number);
  };
  std::string order = fromHex(kOrder);
  HeldKey key;
  EXPECT_EQ(read(withNumber(order), nullptr, key), kNotImplemented);
  --order.back();
  EXPECT_EQ(read(withNumber(order), nullptr, key), kOk);
  key.reset();
  EXPECT_EQ(read(withNumber(std::string(32, '\0')), nullptr, key), kNotImplemented);
  EXPECT_EQ(read(withNumber(std::string(31, '\0') + '\1'), nullptr, key), kOk);
  key.reset();
  std::string version = sample;
  version[4] = 2;
  EXPECT_EQ(read(version, nullptr, key), kInvalidArgument);
  EXPECT_EQ(reason(), "this is not the encoding of a private key");
}

TEST_F(KeyReaderTest, EncryptedKeysOpenWithTheirPassword) {
  HeldKey plain, key;
  ASSERT_EQ(read(samples::kEcKey, nullptr, plain), kOk);
  for (const std::string_view sample : {samples::kAesKey, samples::kTripleDesKey}) {
    ASSERT_EQ(read(sample, "secret", key), kOk) << reason();
    EXPECT_EQ(velmora_key_check_pair(key.get(), &plain->publicKey), kOk);
    for (const char* wrong : {"other", "", static_cast<const char*>(nullptr)}) {
      EXPECT_EQ(read(sample, wrong, key), kAccessDenied);
      EXPECT_EQ(reason(), "the password of the key is wrong or missing");
      EXPECT_EQ(key.get(), nullptr);
    }
  }
}

// The padding fits for one password in 256; what it then uncovers is no key.
TEST_F(KeyReaderTest, NoOtherPasswordIsTakenForADamagedKey) {
  HeldKey key;
  for (int i = 0; i < 1000; ++i) {
    const std::string password = "w" + std::to_string(i);
    ASSERT_EQ(read(samples::kAesKey, password.c_str(), key), kAccessDenied) << password;
    ASSERT_EQ(reason(), "the password of the key is wrong or missing");
  }
}

TEST_F(KeyReaderTest, AnUnknownEncryptionIsToldApart) {
  HeldKey key;
  std::string other(samples::kTripleDesKey);
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
  const std::string der(samples::kEcKey);
  const int swept = sweepAllocations(spy, [&] {
    HeldKey key;
    const int32_t result = read(der, nullptr, key);
    EXPECT_TRUE(result == kOk || result == kOutOfMemory) << result;
    EXPECT_EQ(key.get() != nullptr, result == kOk);
    return result == kOk;
  });
  EXPECT_GT(swept, 3);
}

TEST_F(KeyReaderTest, APasswordThatCannotBeConvertedIsShortMemory) {
  const std::string der(samples::kLeafKey);
  const runtime::ByteBuffer data = bufferOf(der);
  HeldKey key;
  uint32_t problem = 99;
  spy.failAllocation(1);
  EXPECT_EQ(velmora_key_read(&data, "secret", key.put(), nullptr), kOutOfMemory);
  spy.failAllocation(1);
  EXPECT_EQ(velmora_pkcs12_problem(&data, "secret", &problem), kOutOfMemory);
  spy.allowAllocations();
  EXPECT_EQ(problem, 99u);
}

class Pkcs12ProblemTest : public CryptoTest {
 protected:
  uint32_t problemOf(std::string_view file, const char* password) {
    const ExactBytes exact(file);
    const runtime::ByteBuffer buffer = exact.buffer();
    uint32_t problem = ~0u;
    EXPECT_EQ(velmora_pkcs12_problem(&buffer, password, &problem), kOk);
    return problem;
  }
};

TEST_F(Pkcs12ProblemTest, SaysWhatStandsInTheWay) {
  const std::string file(samples::kRc4Pfx);
  EXPECT_EQ(problemOf(file, "secret"), kVelmoraPkcs12Fine);
  EXPECT_EQ(problemOf(file, "other"), kVelmoraPkcs12Password);
  EXPECT_EQ(problemOf(file, nullptr), kVelmoraPkcs12Password);
  EXPECT_EQ(problemOf(file.substr(0, file.size() / 2), "secret"), kVelmoraPkcs12Damaged);
  EXPECT_EQ(problemOf("", "secret"), kVelmoraNotPkcs12);
  EXPECT_EQ(problemOf("text", "secret"), kVelmoraNotPkcs12);
  EXPECT_EQ(problemOf(samples::kLeaf, "secret"), kVelmoraNotPkcs12);
  EXPECT_EQ(problemOf(samples::kNoMacPfx, "secret"), kVelmoraPkcs12NoMac);
  EXPECT_EQ(problemOf(pfxOver(element("30", dataInfo(element("30", ""))), "secret"), "secret"),
            kVelmoraPkcs12NoKey);
}

TEST_F(Pkcs12ProblemTest, ShortMemoryIsNoneOfThem) {
  const std::string file(samples::kRc4Pfx);
  const runtime::ByteBuffer buffer = bufferOf(file);
  const int swept = sweepAllocations(spy, [&] {
    uint32_t problem = 99;
    const int32_t result = velmora_pkcs12_problem(&buffer, "secret", &problem);
    EXPECT_EQ(result == kOk ? kOutOfMemory : result, kOutOfMemory);
    EXPECT_EQ(problem, result == kOk ? uint32_t{kVelmoraPkcs12Fine} : 99);
    return result == kOk;
  });
  EXPECT_GT(swept, 3);
}

TEST_F(Pkcs12ProblemTest, AnUnknownAlgorithmOrTooManyIterationsAreUnsupported) {
  std::string other(samples::kRc4Pfx);
  const size_t digest = other.rfind(fromHex("06052b0e03021a"));
  ASSERT_NE(digest, std::string::npos);
  other[digest + 6] = 0x7F;
  EXPECT_EQ(problemOf(other, "secret"), kVelmoraPkcs12Unsupported);
  const std::string safe = fromHex("300506032a0304");
  EXPECT_EQ(problemOf(pfxOver(element("30", safe), "secret"), "secret"), kVelmoraPkcs12Damaged);
  const std::string unknownSafe = element("30", fromHex("06032a0304") + element("a0", ""));
  EXPECT_EQ(problemOf(pfxOver(element("30", unknownSafe), "secret"), "secret"),
            kVelmoraPkcs12Unsupported);
  const RoundLimit none(0);
  EXPECT_EQ(problemOf(samples::kRc4Pfx, "secret"), kVelmoraPkcs12Unsupported);
}

TEST_F(Pkcs12ProblemTest, NullIsRefused) {
  const runtime::ByteBuffer empty{};
  uint32_t problem = 0;
  EXPECT_EQ(velmora_pkcs12_problem(nullptr, "", &problem), kNullPointer);
  EXPECT_EQ(velmora_pkcs12_problem(&empty, "", nullptr), kNullPointer);
}

}  // namespace
}  // namespace vexa::test
