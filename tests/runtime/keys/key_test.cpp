#include "runtime/keys/key.h"
#include "runtime/crypto_fixture.h"
#include "runtime/keys/libgcrypt.h"
#include "runtime/keys/signature.h"
#include "runtime/samples.h"
#include "support/sweep.h"

namespace vexa::test {
namespace {

class KeyTest : public CryptoTest {
 protected:
  // An RSA public key in a record of its own; the bytes are borrowed from `der`.
  struct PublicKey {
    PublicKey(const runtime::CommonTypes& types, std::string der, std::string parametersHex = {})
        : bytes(std::move(der)), parameters(fromHex(parametersHex)) {
      EXPECT_EQ(types.ObjectIdFromText("1.2.840.113549.1.1.1", identifier.put()), kOk);
      record = {{identifier.get(), bufferOf(parameters)},
                8 * bytes.size(),
                reinterpret_cast<uint8_t*>(bytes.data())};
    }
    std::string bytes;
    std::string parameters;
    Owned<runtime::ObjectId> identifier;
    runtime::PublicKey record;
  };
};

// A pool in the process would keep what became a key.
TEST_F(KeyTest, RandomBytesOfTheLibraryComeFromTheSystem) {
  HeldKey key;
  ASSERT_EQ(velmora_key_generate_ec("P-256", key.put()), kOk);
  int type = 0;
  gcry_control(GCRYCTL_GET_CURRENT_RNG_TYPE, &type);
  EXPECT_EQ(type, GCRY_RNG_TYPE_SYSTEM);
}

TEST_F(KeyTest, NotesOfTheLibraryAreForNobody) {
  HeldKey key;
  ASSERT_EQ(velmora_key_generate_ec("P-256", key.put()), kOk);
  ::testing::internal::CaptureStderr();
  gcry_log_debug("what the library notes\n");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

TEST_F(KeyTest, RsaKeysAreEqualAsNumbers) {
  const PublicKey key(types,
                      fromHex("3007"
                              "020211d5"
                              "020103"),
                      "0500");
  const PublicKey padded(types,
                         fromHex("3009"
                                 "02030011d5"
                                 "02020003"),
                         "0500");
  const PublicKey other(types,
                        fromHex("3007"
                                "020211d7"
                                "020103"),
                        "0500");
  const PublicKey otherExponent(types,
                                fromHex("3007"
                                        "020211d5"
                                        "020105"),
                                "0500");
  EXPECT_NE(types.KeyCompare(&key.record, &otherExponent.record), 0);
  EXPECT_EQ(types.KeyCompare(&key.record, &padded.record), 0);
  EXPECT_NE(types.KeyCompare(&key.record, &other.record), 0);
}

// What the library is not asked to calculate with.
TEST_F(KeyTest, SoundRsaKeysAreOddAndOfModestSize) {
  const auto isSound = [](size_t modulusBytes, uint8_t modulusEnd, std::string exponentHex) {
    std::string modulus(modulusBytes, '\xC3');
    modulus.back() = static_cast<char>(modulusEnd);
    const std::string exponent = fromHex(exponentHex);
    return velmora::isSoundRsaKey(
        {{reinterpret_cast<const uint8_t*>(modulus.data()), modulus.size()},
         {reinterpret_cast<const uint8_t*>(exponent.data()), exponent.size()}});
  };
  EXPECT_TRUE(isSound(64, 1, "010001"));
  EXPECT_FALSE(isSound(63, 1, "010001"));
  EXPECT_TRUE(isSound(2048, 1, "010001"));
  EXPECT_FALSE(isSound(2049, 1, "010001"));
  EXPECT_FALSE(isSound(64, 2, "010001"));
  for (const char* const good : {"03", "0101", "0100000000000001"}) {
    EXPECT_TRUE(isSound(64, 1, good)) << good;
  }
  for (const char* const bad : {"", "01", "02", "0100", "010000000000000001"}) {
    EXPECT_FALSE(isSound(64, 1, bad)) << bad;
  }
}

TEST_F(KeyTest, ASignatureOfAnotherKindOfKeyIsWrong) {
  const OwnedCertificate root = certificate(samples::kRoot);
  const OwnedCertificate curve = certificate(samples::kEc);
  const std::string rsa = fromHex("2a864886f70d01010b");
  const std::string ecdsa = fromHex("2a8648ce3d040302");
  const uint8_t data[] = {1};
  for (const auto& [algorithm, signer] :
       {std::pair<const std::string&, const OwnedCertificate&>{rsa, curve}, {ecdsa, root}}) {
    const velmora::AlgorithmView view{
        {reinterpret_cast<const uint8_t*>(algorithm.data()), algorithm.size()}, {}};
    EXPECT_EQ(
        velmora::verifySignature(view, data, data, *signer->table->GetPublicKey(signer.get())),
        velmora::Verdict::kInvalid);
  }
}

TEST_F(KeyTest, AbsentAndNullParametersAreTheSame) {
  const PublicKey with(types,
                       fromHex("3007"
                               "020211d5"
                               "020103"),
                       "0500");
  const PublicKey without(types, fromHex("3007"
                                         "020211d5"
                                         "020103"));
  const PublicKey others(types,
                         fromHex("3007"
                                 "020211d5"
                                 "020103"),
                         "020101");
  EXPECT_EQ(types.KeyCompare(&with.record, &without.record), 0);
  EXPECT_NE(types.KeyCompare(&with.record, &others.record), 0);
}

TEST_F(KeyTest, AnEmptyKeyEqualsNothing) {
  const runtime::PublicKey empty{};
  const PublicKey key(types, fromHex("3007"
                                     "020211d5"
                                     "020103"));
  EXPECT_NE(types.KeyCompare(&empty, &empty), 0);
  EXPECT_NE(types.KeyCompare(&empty, &key.record), 0);
  EXPECT_NE(types.KeyCompare(nullptr, &key.record), 0);
  EXPECT_NE(types.KeyCompare(&key.record, nullptr), 0);
  EXPECT_NE(types.KeyCompare(&key.record, &empty), 0);
  EXPECT_EQ(types.KeyCompare(&key.record, &key.record), 0);
}

TEST_F(KeyTest, OnlyRsaKeysAreEqualAsNumbers) {
  Owned<runtime::ObjectId> other;
  ASSERT_EQ(types.ObjectIdFromText("1.2.840.10045.2.1", other.put()), kOk);
  PublicKey key(types, fromHex("3007020211d5020103"));
  PublicKey padded(types, fromHex("300902030011d502020003"));
  EXPECT_EQ(types.KeyCompare(&key.record, &padded.record), 0);
  key.record.algorithm.identifier = padded.record.algorithm.identifier = other.get();
  EXPECT_NE(types.KeyCompare(&key.record, &padded.record), 0);
}

TEST_F(KeyTest, ACopyOntoItselfChangesNothing) {
  const PublicKey key(types, fromHex("3007020211d5020103"), "0500");
  runtime::PublicKey copy{};
  ASSERT_EQ(types.PublicKeyCopy(&copy, &key.record), kOk);
  const auto* const bytes = copy.bytes;
  EXPECT_EQ(types.PublicKeyCopy(&copy, &copy), kOk);
  EXPECT_EQ(copy.bytes, bytes);
  EXPECT_EQ(types.AlgorithmIdCopy(&copy.algorithm, &copy.algorithm), kOk);
  EXPECT_EQ(types.KeyCompare(&copy, &key.record), 0);
  velmora::clearPublicKey(&copy);
}

TEST_F(KeyTest, KeysOfOtherKindsAreEqualByBytes) {
  const OwnedCertificate curve = certificate(samples::kEc);
  const OwnedCertificate plain = certificate(samples::kPlain);
  const auto* const key = curve->table->GetPublicKey(curve.get());
  EXPECT_EQ(types.KeyCompare(key, key), 0);
  EXPECT_NE(types.KeyCompare(key, plain->table->GetPublicKey(plain.get())), 0);
}

TEST_F(KeyTest, TwoCertificatesOnOneKeyHaveEqualKeys) {
  const OwnedCertificate leaf = certificate(samples::kLeaf);
  const OwnedCertificate plain = certificate(samples::kPlain);
  const OwnedCertificate root = certificate(samples::kRoot);
  const auto* const key = leaf->table->GetPublicKey(leaf.get());
  EXPECT_EQ(types.KeyCompare(key, plain->table->GetPublicKey(plain.get())), 0);
  EXPECT_NE(types.KeyCompare(key, root->table->GetPublicKey(root.get())), 0);
}

TEST_F(KeyTest, CopiesAreIndependentAndReplaceWhatWasThere) {
  HeldKey key;
  ASSERT_EQ(types.KeyCreate(key.put()), kOk);
  EXPECT_EQ(key->publicKey.bytes, nullptr);
  {
    const OwnedCertificate root = certificate(samples::kRoot);
    const auto* const source = root->table->GetPublicKey(root.get());
    ASSERT_EQ(types.PublicKeyCopy(&key->publicKey, source), kOk);
    ASSERT_EQ(types.PublicKeyCopy(&key->publicKey, source), kOk);
    ASSERT_EQ(types.AlgorithmIdCopy(&key->privateKey.algorithm, &source->algorithm), kOk);
    ASSERT_EQ(types.AlgorithmIdCopy(&key->privateKey.algorithm, &source->algorithm), kOk);
    EXPECT_EQ(types.KeyCompare(&key->publicKey, source), 0);
  }
  EXPECT_EQ(bytesOf(&key->privateKey.algorithm.parameters), fromHex("0500"));
  ASSERT_EQ(types.PublicKeyCopy(&key->publicKey, &key->publicKey), kOk);  // onto itself
  EXPECT_NE(key->publicKey.bytes, nullptr);
}

TEST_F(KeyTest, CopyingAnEmptyKeyEmptiesTheTarget) {
  HeldKey key;
  ASSERT_EQ(types.KeyCreate(key.put()), kOk);
  const OwnedCertificate root = certificate(samples::kRoot);
  ASSERT_EQ(types.PublicKeyCopy(&key->publicKey, root->table->GetPublicKey(root.get())), kOk);
  const runtime::PublicKey empty{};
  ASSERT_EQ(types.PublicKeyCopy(&key->publicKey, &empty), kOk);
  EXPECT_EQ(key->publicKey.bytes, nullptr);
  EXPECT_EQ(key->publicKey.algorithm.identifier, nullptr);
}

TEST_F(KeyTest, RsaIntegersKeepTheirEncoding) {
  const std::string der(samples::kLeafKey);
  runtime::RsaPrivateKey* key = nullptr;
  const ExactBytes exact(der);
  ASSERT_EQ(types.RsaPrivateKeyDecode(exact.data(), exact.size(), &key), kOk);
  EXPECT_EQ(key->version.length, 1u);
  EXPECT_EQ(key->modulus.length, 129u);  // 1024 bits, the highest one set
  EXPECT_EQ(key->modulus.bytes[0], 0);
  EXPECT_EQ(toHex(key->publicExponent.bytes, key->publicExponent.length), "010001");
  EXPECT_GE(key->prime1.length, 64u);
  types.RsaPrivateKeyRelease(key);
  types.RsaPrivateKeyRelease(nullptr);
}

TEST_F(KeyTest, EveryTruncationOfARsaKeyIsRefused) {
  const std::string der(samples::kLeafKey);
  for (size_t length = 0; length < der.size(); ++length) {
    runtime::RsaPrivateKey* key = nullptr;
    const ExactBytes exact(std::string_view(der).substr(0, length));
    EXPECT_EQ(types.RsaPrivateKeyDecode(exact.data(), exact.size(), &key), kFail) << length;
    EXPECT_EQ(key, nullptr);
  }
  runtime::RsaPrivateKey* key = nullptr;
  const ExactBytes longer(der + '\0');
  EXPECT_EQ(types.RsaPrivateKeyDecode(longer.data(), longer.size(), &key), kFail);
}

TEST_F(KeyTest, ReleasedPrivateKeysAreWiped) {
  const std::string der(samples::kLeafKey);
  HeldKey key = privateKey(der);
  runtime::RsaPrivateKey* numbers = nullptr;
  const ExactBytes exact(der);
  ASSERT_EQ(types.RsaPrivateKeyDecode(exact.data(), exact.size(), &numbers), kOk);
  const std::string prime(reinterpret_cast<const char*>(numbers->prime1.bytes), 64);
  int found = 0;
  spy.onFree = [&](const uint8_t* block, uint64_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(block), size);
    found += bytes.find(prime) != std::string_view::npos;
  };
  key.reset();
  types.RsaPrivateKeyRelease(numbers);
  spy.onFree = nullptr;
  EXPECT_EQ(found, 0);
}

TEST_F(KeyTest, EveryFailedAllocationIsSurvived) {
  const std::string der(samples::kLeafKey);
  const OwnedCertificate root = certificate(samples::kRoot);
  sweepAllocations(spy, [&] {
    runtime::RsaPrivateKey* numbers = nullptr;
    runtime::KeyObject* key = nullptr;
    const int32_t decoded = types.RsaPrivateKeyDecode(reinterpret_cast<const uint8_t*>(der.data()),
                                                      der.size(), &numbers);
    int32_t result = types.KeyCreate(&key);
    if (result == kOk) {
      result = types.PublicKeyCopy(&key->publicKey, root->table->GetPublicKey(root.get()));
    }
    types.RsaPrivateKeyRelease(numbers);
    types.KeyRelease(key);
    EXPECT_TRUE(decoded == kOk || decoded == kOutOfMemory) << decoded;
    EXPECT_TRUE(result == kOk || result == kOutOfMemory) << result;
    return decoded == kOk && result == kOk;
  });
}

TEST_F(KeyTest, AnAlgorithmThatCannotBeCopiedLeavesTheOneBefore) {
  const OwnedCertificate root = certificate(samples::kRoot);
  const runtime::AlgorithmId& rsa = root->table->GetPublicKey(root.get())->algorithm;
  const OwnedCertificate ec = certificate(samples::kEc);
  const runtime::AlgorithmId& curve = ec->table->GetPublicKey(ec.get())->algorithm;
  HeldKey key;
  ASSERT_EQ(types.KeyCreate(key.put()), kOk);
  runtime::AlgorithmId& target = key->publicKey.algorithm;
  ASSERT_EQ(types.AlgorithmIdCopy(&target, &rsa), kOk);
  spy.failAllocation(1);
  EXPECT_EQ(types.AlgorithmIdCopy(&target, &curve), kOutOfMemory);
  spy.allowAllocations();
  EXPECT_EQ(types.ObjectIdCompare(target.identifier, rsa.identifier), 0);
  EXPECT_EQ(types.BufferCompare(&target.parameters, &rsa.parameters), 0);
}

TEST_F(KeyTest, GeneratedKeysHaveMatchingHalves) {
  HeldKey key;
  ASSERT_EQ(velmora_key_generate_weak_rsa(1024, kVelmoraShortKey, key.put()), kOk);
  runtime::RsaPrivateKey* numbers = nullptr;
  ASSERT_EQ(
      types.RsaPrivateKeyDecode(key->privateKey.bytes, key->privateKey.bitLength / 8, &numbers),
      kOk);
  const std::string modulus = toHex(numbers->modulus.bytes + 1, numbers->modulus.length - 1);
  EXPECT_NE(toHex(key->publicKey.bytes, key->publicKey.bitLength / 8).find(modulus),
            std::string::npos);
  types.RsaPrivateKeyRelease(numbers);
  EXPECT_EQ(key->publicKey.bitLength % 8, 0u);
  EXPECT_EQ(velmora_key_generate_weak_rsa(512, kVelmoraShortKey, key.put()), kInvalidArgument);
  EXPECT_EQ(velmora_key_generate_weak_rsa(32768, kVelmoraShortKey, key.put()), kInvalidArgument);
  EXPECT_EQ(velmora_key_generate_weak_rsa(1024, kVelmoraShortKey, nullptr), kNullPointer);
}

TEST_F(KeyTest, WeakSizesMustBeAskedFor) {
  HeldKey key;
  for (const uint32_t bits : {1024u, 2047u, 2041u, 2050u, 16392u, 0u}) {
    EXPECT_EQ(velmora_key_generate_rsa(bits, key.put()), kInvalidArgument) << bits;
    EXPECT_EQ(key.get(), nullptr);
  }
  EXPECT_EQ(velmora_key_generate_weak_rsa(1026, kVelmoraShortKey, key.put()), kInvalidArgument);
  EXPECT_EQ(velmora_key_generate_weak_rsa(1024, kVelmoraUnevenKey, key.put()), kInvalidArgument);
  EXPECT_EQ(velmora_key_generate_weak_rsa(1024, 4, key.put()), kInvalidArgument);
  EXPECT_EQ(velmora_key_generate_weak_rsa(1025, kVelmoraShortKey | kVelmoraUnevenKey, key.put()),
            kInvalidArgument);
  ASSERT_EQ(velmora_key_generate_weak_rsa(1026, kVelmoraShortKey | kVelmoraUnevenKey, key.put()),
            kOk);
  runtime::RsaPrivateKey* numbers = nullptr;
  ASSERT_EQ(
      types.RsaPrivateKeyDecode(key->privateKey.bytes, key->privateKey.bitLength / 8, &numbers),
      kOk);
  EXPECT_EQ(numbers->modulus.length, 129u);  // 1026 bits, the highest two in a byte of their own
  EXPECT_GE(numbers->modulus.bytes[0], 2);
  EXPECT_LE(numbers->modulus.bytes[0], 3);
  types.RsaPrivateKeyRelease(numbers);
  // Even, with any remainder by three.
  for (const uint32_t bits : {1028u, 1030u}) {
    EXPECT_EQ(velmora_key_generate_weak_rsa(bits, kVelmoraShortKey | kVelmoraUnevenKey, key.put()),
              kOk)
        << bits;
  }
}

TEST_F(KeyTest, KeysAreMadeOnEachCurve) {
  for (const auto& [curve, bytes] :
       {std::pair<const char*, uint64_t>{"P-256", 32}, {"P-384", 48}, {"P-521", 66}}) {
    HeldKey key;
    ASSERT_EQ(velmora_key_generate_ec(curve, key.put()), kOk) << curve;
    EXPECT_EQ(key->publicKey.bitLength, 8 * (2 * bytes + 1));
    EXPECT_EQ(key->publicKey.bytes[0], 4);
  }
  HeldKey key;
  EXPECT_EQ(velmora_key_generate_ec("P-192", key.put()), kInvalidArgument);
  EXPECT_EQ(velmora_key_generate_ec(nullptr, key.put()), kNullPointer);
  EXPECT_EQ(velmora_key_generate_ec("P-256", nullptr), kNullPointer);
}

}  // namespace
}  // namespace vexa::test
