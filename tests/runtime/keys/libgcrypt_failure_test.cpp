#include <map>

#include "runtime/certificates/certificate.h"
#include "runtime/keys/failing_libgcrypt.h"
#include "runtime/keys/signature.h"
#include "runtime/keys/signing.h"
#include "runtime/pkcs12/password_derivation.h"
#include "runtime/pkcs12/pfx_fixture.h"
#include "runtime/samples.h"
#include "runtime/views.h"

namespace vexa::test {
namespace {

class LibraryFailureTest : public PfxTest {
 protected:
  // Runs `operation` with the library's 1st call failing, with its 2nd, and so on, until it needs
  // no more. It tells each failure by a negative result, and leaves nothing behind.
  template <class Operation>
  int sweep(Operation operation) {
    int swept = 0;
    for (bool hasFailed = true; hasFailed; ++swept) {
      const int64_t before = spy.liveBlocks();
      failing_libgcrypt::failAt(static_cast<uint64_t>(swept) + 1);
      const int32_t result = operation();
      hasFailed = failing_libgcrypt::hasFailed();
      failing_libgcrypt::neverFail();
      EXPECT_EQ(spy.liveBlocks(), before) << "call " << swept + 1;
      EXPECT_EQ(result < 0, hasFailed) << result << " from call " << swept + 1;
    }
    return swept - 1;
  }

  // Signs a certificate of this key with it.
  int32_t sign(const runtime::KeyObject* key) {
    const OwnedCertificate made = draft("CN=Jane", &key->publicKey);
    const int32_t result = velmora_certificate_sign(made.get(), key, nullptr);
    EXPECT_EQ(made->table->GetEncoding(made.get()) != nullptr, result == kOk);
    return result;
  }

  int32_t cipher(uint32_t algorithm, uint32_t mode, bool reverse, const std::string& in,
                 std::string& out) {
    runtime::SymmetricKey* const key = keys_[algorithm].get();
    std::string iv(16, 'v');
    runtime::ByteBuffer ivBuffer = bufferOf(iv);
    uint64_t padding = 4;
    uint64_t width = 16;
    runtime::CipherItem items[] = {
        {runtime::kCipherKey, 0, key, 0, 0, {}, nullptr, nullptr},
        {runtime::kCipherAlgorithm, 0, &algorithm, 0, 0, {}, nullptr, nullptr},
        {runtime::kCipherPadding, 0, &padding, 0, 0, {}, nullptr, nullptr},
        {runtime::kCipherMode, 0, &mode, 0, 0, {}, nullptr, nullptr},
        {runtime::kCipherIv, 0, &ivBuffer, 0, 0, {}, nullptr, nullptr},
        {runtime::kCipherExtraLength, 0, &width, 0, 0, {}, nullptr, nullptr},
        {runtime::kCipherReverse, 0, nullptr, 0, 0, {}, nullptr, nullptr},
    };
    const size_t count = reverse ? 7 : 6;
    for (size_t i = 0; i + 1 < count; ++i) {
      items[i].next = &items[i + 1];
    }
    out.assign(in.size() + 16, '\xEE');
    runtime::ByteBuffer record = bufferOf(out);
    const int32_t result =
        spy.crypt.Cipher(items, reinterpret_cast<const uint8_t*>(in.data()), in.size(),
                         reinterpret_cast<uint8_t*>(out.data()), &record);
    out.resize(record.length);
    return result;
  }

  void makeKey(uint32_t algorithm, uint32_t bits) {
    runtime::CipherItem second{
        runtime::kCipherAlgorithm, 0, &algorithm, 0, 0, {}, nullptr, nullptr};
    const runtime::CipherItem first{runtime::kCipherKeyBits, 0, &bits, 0, 0, {}, nullptr, &second};
    runtime::CipherItem out{runtime::kCipherKey, 0, nullptr, 0, 0, {}, nullptr, nullptr};
    ASSERT_EQ(spy.crypt.GenerateKey(&first, &out, algorithm), kOk);
    *keys_[algorithm].put() = static_cast<runtime::SymmetricKey*>(out.value);
  }

  int32_t open(std::string_view pfx) {
    const runtime::ByteBuffer data = bufferOf(pfx);
    String password("secret");
    HeldBags bags;
    uint8_t verified = 0xFF;
    const int32_t result = spy.pkcs12.Decode(&data, nullptr, password.get(), bags.put(), &verified);
    EXPECT_EQ(bags.get() != nullptr, result == kOk);
    return result;
  }

  void TearDown() override {
    keys_.clear();
    PfxTest::TearDown();
  }

 private:
  std::map<uint32_t, Owned<runtime::SymmetricKey>> keys_;
};

TEST_F(LibraryFailureTest, OfGeneratingAnRsaKey) {
  const int swept = sweep([&] {
    HeldKey key;
    const int32_t result = velmora_key_generate_weak_rsa(1024, kVelmoraShortKey, key.put());
    EXPECT_EQ(key.get() != nullptr, result == kOk);
    return result;
  });
  EXPECT_GT(swept, 16) << "six numbers found and read, eight written";
}

TEST_F(LibraryFailureTest, OfGeneratingAKeyOnACurve) {
  const int swept = sweep([&] {
    HeldKey key;
    const int32_t result = velmora_key_generate_ec("P-256", key.put());
    EXPECT_EQ(key.get() != nullptr, result == kOk);
    return result;
  });
  EXPECT_GT(swept, 8);
}

TEST_F(LibraryFailureTest, OfSigning) {
  HeldKey rsa, curve;
  ASSERT_EQ(velmora_key_generate_weak_rsa(1024, kVelmoraShortKey, rsa.put()), kOk);
  EXPECT_GT(sweep([&] { return sign(rsa.get()); }), 2);
  ASSERT_EQ(velmora_key_generate_ec("P-256", curve.put()), kOk);
  EXPECT_GT(sweep([&] { return sign(curve.get()); }), 5);
}

// Three expressions are built and a signature is verified. What cannot be asked has no answer; the
// answer that comes is "wrong" where the library fails.
TEST_F(LibraryFailureTest, OfCheckingASignature) {
  for (const std::string_view sample : {samples::kRoot, samples::kEc}) {
    const OwnedCertificate own = certificate(sample);
    const velmora::CertificateObject& read = *velmora::implementationOf(own.get());
    const auto verify = [&read] {
      return velmora::verifySignature(read.signatureAlgorithm, read.signedPart, read.signature,
                                      read.publicKey);
    };
    EXPECT_EQ(sweep([&] { return verify() == velmora::Verdict::kValid ? kOk : kFail; }), 4);
    for (const uint64_t n : {1u, 2u, 3u, 4u}) {
      failing_libgcrypt::failAt(n);
      EXPECT_EQ(verify(), n < 4 ? velmora::Verdict::kUnsupported : velmora::Verdict::kInvalid);
      failing_libgcrypt::neverFail();
    }
  }
}

TEST_F(LibraryFailureTest, OfFindingAPublicHalf) {
  HeldKey curve;
  ASSERT_EQ(velmora_key_generate_ec("P-256", curve.put()), kOk);
  const int swept = sweep([&] { return velmora_key_check_pair(curve.get(), &curve->publicKey); });
  EXPECT_EQ(swept, 7) << "the curve, two numbers, a point, its place and two numbers written";
}

TEST_F(LibraryFailureTest, OfDrawingBytes) {
  uint8_t drawn[16];
  EXPECT_EQ(sweep([&] { return spy.random.GetBytes(2, sizeof(drawn), 0, drawn); }), 1);
  const uint32_t algorithm = 12;
  const uint32_t bits = 256;
  runtime::CipherItem second{
      runtime::kCipherAlgorithm, 0, const_cast<uint32_t*>(&algorithm), 0, 0, {}, nullptr, nullptr};
  const runtime::CipherItem first{
      runtime::kCipherKeyBits, 0, const_cast<uint32_t*>(&bits), 0, 0, {}, nullptr, &second};
  const int swept = sweep([&] {
    runtime::CipherItem out{runtime::kCipherKey, 0, nullptr, 0, 0, {}, nullptr, nullptr};
    const int32_t result = spy.crypt.GenerateKey(&first, &out, algorithm);
    EXPECT_EQ(out.value != nullptr, result == kOk);
    Owned<runtime::SymmetricKey> key;
    *key.put() = static_cast<runtime::SymmetricKey*>(out.value);
    return result;
  });
  EXPECT_EQ(swept, 1);
}

TEST_F(LibraryFailureTest, OfADerivationTellsShortMemoryApart) {
  const uint8_t salt[8] = {};
  const auto derive = [&salt](gpg_err_code_t code) {
    uint8_t out[16] = {};
    velmora::DerivationBudget budget;
    failing_libgcrypt::failAt(1, code);
    const int32_t result = velmora::derivePbkdf2(GCRY_MD_SHA1, {salt, salt, 1}, budget, out);
    failing_libgcrypt::neverFail();
    return result;
  };
  EXPECT_EQ(derive(GPG_ERR_ENOMEM), kOutOfMemory);
  EXPECT_EQ(derive(GPG_ERR_GENERAL), kFail);
}

TEST_F(LibraryFailureTest, OfAnExpressionThatIsNotBuiltIsShortMemory) {
  HeldKey rsa;
  ASSERT_EQ(velmora_key_generate_weak_rsa(1024, kVelmoraShortKey, rsa.put()), kOk);
  for (const uint64_t n : {1u, 2u}) {
    velmora::Bytes signature;
    failing_libgcrypt::failAt(n, GPG_ERR_ENOMEM);
    EXPECT_EQ(velmora::signSha256(rsa->privateKey, viewOf("x"), signature), kOutOfMemory) << n;
    failing_libgcrypt::neverFail();
    EXPECT_EQ(signature.size(), 0u);
  }
}

TEST_F(LibraryFailureTest, OfACipher) {
  constexpr uint32_t kAes256 = 12;
  constexpr uint32_t kRc4 = 6;
  makeKey(kAes256, 256);
  makeKey(kRc4, 128);
  const std::string plain = "a text of more than one block";
  for (const uint32_t algorithm : {kAes256, kRc4}) {
    for (const uint32_t mode : {0u, 1u, 2u}) {
      std::string encrypted, decrypted;
      EXPECT_GT(sweep([&] { return cipher(algorithm, mode, false, plain, encrypted); }), 2);
      EXPECT_GT(sweep([&] { return cipher(algorithm, mode, true, encrypted, decrypted); }), 2);
      EXPECT_EQ(decrypted, plain) << algorithm << " in mode " << mode;
    }
  }
}

TEST_F(LibraryFailureTest, OfOpeningKeys) {
  for (const std::string_view der : {samples::kAesKey, samples::kTripleDesKey}) {
    const runtime::ByteBuffer buffer = bufferOf(der);
    const int swept = sweep([&] {
      HeldKey key;
      const int32_t result = velmora_key_read(&buffer, "secret", key.put(), nullptr);
      EXPECT_EQ(key.get() != nullptr, result == kOk);
      return result;
    });
    EXPECT_GT(swept, 4);
  }
}

TEST_F(LibraryFailureTest, OfOpeningFiles) {
  for (const std::string_view pfx : {samples::kModernPfx, samples::kRc4Pfx}) {
    EXPECT_GT(sweep([&] { return open(pfx); }), 6);
  }
}

TEST_F(LibraryFailureTest, OfWritingAFile) {
  const HeldParameters made = parameters();
  made->iterations = 1;
  addCertificate(made.get(), samples::kRoot);
  String password("secret");
  const int swept = sweep([&] {
    HeldBuffer out;
    const int32_t result = spy.pkcs12.Encode(made.get(), password.get(), out.put());
    EXPECT_EQ(out.get() != nullptr, result == kOk);
    return result;
  });
  EXPECT_GT(swept, 4);
}

}  // namespace
}  // namespace vexa::test
