#include <algorithm>
#include <map>
#include <string>
#include <utility>

#include "runtime/certificates/certificate.h"
#include "runtime/keys/failing_libgcrypt.h"
#include "runtime/keys/signature.h"
#include "runtime/keys/signing.h"
#include "runtime/pkcs12/password_cipher.h"
#include "runtime/pkcs12/pfx_fixture.h"
#include "runtime/pkcs12/pfx_maker.h"
#include "runtime/samples.h"
#include "runtime/views.h"

namespace vexa::test {
namespace {

class LibraryFailureTest : public PfxTest {
 protected:
  // Runs `operation` with the library's 1st call failing, with its 2nd, and so on, until it needs
  // no more. It leaves nothing behind. Returns what it answers to each failure, a letter for one.
  template <class Operation>
  std::string sweep(Operation operation) {
    std::string answers;
    for (uint64_t n = 1;; ++n) {
      const int64_t before = spy.liveBlocks();
      failing_libgcrypt::failAt(n);
      const int32_t result = operation();
      const bool hasFailed = failing_libgcrypt::hasFailed();
      failing_libgcrypt::neverFail();
      EXPECT_EQ(spy.liveBlocks(), before) << "call " << n;
      if (!hasFailed) {
        EXPECT_EQ(result, kOk);
        return answers;
      }
      answers += letterOf(result);
    }
  }
  static char letterOf(int32_t result) {
    constexpr std::pair<int32_t, char> kLetters[] = {
        {kOk, '+'},          {kFail, 'F'},         {kInvalidArgument, 'I'},
        {kOutOfMemory, 'M'}, {kAccessDenied, 'A'}, {kNotImplemented, 'N'}};
    const auto* const known =
        std::find_if(std::begin(kLetters), std::end(kLetters),
                     [result](const auto& each) { return each.first == result; });
    return known == std::end(kLetters) ? '?' : known->second;
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
  const std::string answers = sweep([&] {
    HeldKey key;
    const int32_t result = velmora_key_generate_weak_rsa(1024, kVelmoraShortKey, key.put());
    EXPECT_EQ(key.get() != nullptr, result == kOk);
    return result;
  });
  EXPECT_EQ(answers, "FFFFFFFFFFFFFFMMMMMMMM") << "six numbers found and read, eight written";
}

TEST_F(LibraryFailureTest, OfGeneratingAKeyOnACurve) {
  const std::string answers = sweep([&] {
    HeldKey key;
    const int32_t result = velmora_key_generate_ec("P-256", key.put());
    EXPECT_EQ(key.get() != nullptr, result == kOk);
    return result;
  });
  EXPECT_EQ(answers, "FFFFFMMIFFFFMMIFFFF");
}

TEST_F(LibraryFailureTest, OfSigning) {
  HeldKey rsa, curve;
  ASSERT_EQ(velmora_key_generate_weak_rsa(1024, kVelmoraShortKey, rsa.put()), kOk);
  EXPECT_EQ(sweep([&] { return sign(rsa.get()); }), "FMMFFFF");
  ASSERT_EQ(velmora_key_generate_ec("P-256", curve.put()), kOk);
  EXPECT_EQ(sweep([&] { return sign(curve.get()); }), "MMIIIIIFMMFFFFFMM");
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
    EXPECT_EQ(sweep([&] { return verify() == velmora::Verdict::kValid ? kOk : kFail; }), "FFFF");
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
  const std::string answers =
      sweep([&] { return velmora_key_check_pair(curve.get(), &curve->publicKey); });
  EXPECT_EQ(answers, "MMIFFFF")
      << "the curve, two numbers, a point, its place and two numbers written";
}

TEST_F(LibraryFailureTest, OfDrawingBytes) {
  uint8_t drawn[16];
  EXPECT_EQ(sweep([&] { return spy.random.GetBytes(2, sizeof(drawn), 0, drawn); }), "F");
  const uint32_t algorithm = 12;
  const uint32_t bits = 256;
  runtime::CipherItem second{
      runtime::kCipherAlgorithm, 0, const_cast<uint32_t*>(&algorithm), 0, 0, {}, nullptr, nullptr};
  const runtime::CipherItem first{
      runtime::kCipherKeyBits, 0, const_cast<uint32_t*>(&bits), 0, 0, {}, nullptr, &second};
  const std::string answers = sweep([&] {
    runtime::CipherItem out{runtime::kCipherKey, 0, nullptr, 0, 0, {}, nullptr, nullptr};
    const int32_t result = spy.crypt.GenerateKey(&first, &out, algorithm);
    EXPECT_EQ(out.value != nullptr, result == kOk);
    Owned<runtime::SymmetricKey> key;
    *key.put() = static_cast<runtime::SymmetricKey*>(out.value);
    return result;
  });
  EXPECT_EQ(answers, "F");
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
  struct Case {
    uint32_t algorithm;
    uint32_t mode;
    const char* encrypting;
    const char* decrypting;
  };
  for (const Case& each : {Case{kAes256, 0, "IIFF", "IIF"}, Case{kAes256, 1, "IIIFF", "IIIF"},
                           Case{kAes256, 2, "IIFF", "IIFF"}, Case{kRc4, 0, "FFFF", "FFFF"},
                           Case{kRc4, 1, "FFFF", "FFFF"}, Case{kRc4, 2, "FFFF", "FFFF"}}) {
    const auto run = [&](bool reverse, const std::string& in, std::string& out) {
      return sweep([&] { return cipher(each.algorithm, each.mode, reverse, in, out); });
    };
    std::string encrypted, decrypted;
    EXPECT_EQ(run(false, plain, encrypted), each.encrypting) << each.algorithm << each.mode;
    EXPECT_EQ(run(true, encrypted, decrypted), each.decrypting) << each.algorithm << each.mode;
    EXPECT_EQ(decrypted, plain) << each.algorithm << " in mode " << each.mode;
  }
}

TEST_F(LibraryFailureTest, OfOpeningKeys) {
  struct Case {
    std::string_view der;
    const char* answers;
  };
  for (const Case& each :
       {Case{samples::kAesKey, "AAAAAMMNFFFF"}, Case{samples::kTripleDesKey, "AAAAMMNFFFF"}}) {
    const runtime::ByteBuffer buffer = bufferOf(each.der);
    const std::string answers = sweep([&] {
      HeldKey key;
      const int32_t result = velmora_key_read(&buffer, "secret", key.put(), nullptr);
      EXPECT_EQ(key.get() != nullptr, result == kOk);
      return result;
    });
    EXPECT_EQ(answers, each.answers);
  }
}

TEST_F(LibraryFailureTest, OfEncryptingAndDecryptingWithAPassword) {
  const velmora::Password password("secret");
  struct Case {
    const char* name;
    const char* encrypting;
    const char* decrypting;
  };
  for (const Case& each : {Case{"pbeWithSHA1And128BitRC4", "FFFF", "FFF"},
                           Case{"pbeWithSHA1And3-KeyTripleDES-CBC", "FFFFF", "FFFF"}}) {
    const velmora::PasswordScheme& scheme = *velmora::findPasswordScheme(each.name);
    std::string identifier, text;
    const std::string encrypted = sweep([&] {
      velmora::DerivationBudget budget;
      velmora::Bytes algorithm, cipher;
      velmora::DerWriter writer(algorithm);
      const int32_t result =
          velmora::passwordEncrypt(scheme, password, 1, viewOf("plain"), budget, writer, cipher);
      EXPECT_EQ(cipher.size() != 0, result == kOk);
      identifier.assign(reinterpret_cast<const char*>(algorithm.data()), algorithm.size());
      text.assign(reinterpret_cast<const char*>(cipher.data()), cipher.size());
      return result;
    });
    EXPECT_EQ(encrypted, each.encrypting);
    const auto algorithm = velmora::derContent(viewOf(identifier), velmora::kSequence);
    ASSERT_TRUE(algorithm);
    const std::string decrypted = sweep([&] {
      velmora::DerivationBudget budget;
      velmora::Bytes plain;
      const int32_t result =
          velmora::passwordDecrypt(*algorithm, password, viewOf(text), budget, plain);
      EXPECT_EQ(plain.size(), result == kOk ? 5u : 0u);
      return result;
    });
    EXPECT_EQ(decrypted, each.decrypting);
  }
}

TEST_F(LibraryFailureTest, OfAMac) {
  const std::string answers = sweep([&] {
    velmora::DerivationBudget budget;
    velmora::Bytes code;
    const int32_t result =
        velmora::passwordMac(*velmora::findMacDigest("SHA-1"),
                             {viewOf("secret"), viewOf("salt"), 1}, viewOf("data"), budget, code);
    EXPECT_EQ(code.size(), result == kOk ? 20u : 0u);
    return result;
  });
  EXPECT_EQ(answers, "FFF") << "opened, given its key and read";
}

TEST_F(LibraryFailureTest, OfOpeningFiles) {
  EXPECT_EQ(sweep([&] { return open(samples::kModernPfx); }), "FFFFFFFFFFFFF");
  EXPECT_EQ(sweep([&] { return open(samples::kRc4Pfx); }), "FFFFFFFFFF");
}

TEST_F(LibraryFailureTest, OfWritingAFile) {
  const HeldParameters made = parameters();
  made->iterations = 1;
  addCertificate(made.get(), samples::kRoot);
  String password("secret");
  const std::string answers = sweep([&] {
    HeldBuffer out;
    const int32_t result = spy.pkcs12.Encode(made.get(), password.get(), out.put());
    EXPECT_EQ(out.get() != nullptr, result == kOk);
    return result;
  });
  EXPECT_EQ(answers, "FFFFFFFF");
}

}  // namespace
}  // namespace vexa::test
