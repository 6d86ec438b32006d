#include <string>

#include "runtime/crypto_fixture.h"
#include "runtime/keys/cipher.h"
#include "runtime/keys/watched_wipes.h"
#include "runtime/pkcs12/password_cipher.h"
#include "runtime/pkcs12/password_mac.h"
#include "runtime/views.h"

// Whether functions wipe the secrets that they worked with.
namespace vexa::test {
namespace {

using velmora::Bytes;
using velmora::ByteView;
using velmora::KeyPurpose;
using watched_wipes::beginningWith;

constexpr uint32_t kAes256 = 12;
constexpr uint32_t kIterations = 3;

class WipedSecrets : public CryptoTest {
 protected:
  // Encrypts the text, of which nothing is wiped before.
  std::string encrypt(velmora::CipherMode mode, const std::string& text,
                      uint32_t algorithm = kAes256) {
    const velmora::CipherOperation operation{
        velmora::findCipher(algorithm), mode, false, viewOf(key), viewOf(iv), 16};
    std::string out(64, '\0');
    uint64_t length = 0;
    watched_wipes::forget();
    EXPECT_EQ(
        velmora::runCipher(operation, viewOf(text), reinterpret_cast<uint8_t*>(out.data()), length),
        kOk);
    return out.substr(0, length);
  }

  std::string derive(KeyPurpose purpose, size_t length) {
    const velmora::Password password(kPassword);
    velmora::DerivationBudget budget;
    std::string out(length, '\0');
    watched_wipes::forget();
    EXPECT_EQ(velmora::derivePkcs12(GCRY_MD_SHA1, purpose, inputOf(password), budget,
                                    {reinterpret_cast<uint8_t*>(out.data()), length}),
              kOk);
    return out;
  }
  velmora::DerivationInput inputOf(const velmora::Password& password) const {
    return {password.terminatedUtf16(), viewOf(salt), kIterations};
  }

  const std::string key = "a key of exactly 32 bytes, so it";
  const std::string iv = std::string(16, 'v');
  const std::string salt = "saltsalt";
  static constexpr char kPassword[] = "secret";
};

TEST_F(WipedSecrets, ACipherWipesItsKey) {
  for (const auto mode :
       {velmora::CipherMode::kEcb, velmora::CipherMode::kCbc, velmora::CipherMode::kCfb}) {
    (void)encrypt(mode, "a text");
    EXPECT_EQ(beginningWith(key), 1) << static_cast<int>(mode);
  }
}

TEST_F(WipedSecrets, PaddedModesWipeTheLastBlock) {
  (void)encrypt(velmora::CipherMode::kEcb, "text of two blocks");
  EXPECT_EQ(beginningWith("ks\xE\xE\xE"), 1);
}

TEST_F(WipedSecrets, FeedbackWipesTheStreamOfKeys) {
  std::string stream = encrypt(velmora::CipherMode::kCfb, std::string(16, '\0'));
  EXPECT_EQ(beginningWith(stream), 1) << "nothing but the stream";
}

TEST_F(WipedSecrets, TheStreamCipherWipesTheDigestOfItsKey) {
  constexpr uint32_t kStream = 6;
  std::string digest(32, '\0');
  gcry_md_hash_buffer(GCRY_MD_SHA256, digest.data(), key.data(), key.size());
  (void)encrypt(velmora::CipherMode::kEcb, "text", kStream);
  EXPECT_EQ(beginningWith(digest), 1);
  EXPECT_EQ(watched_wipes::ofTheStack(), 1) << "where the digest was made";
}

TEST_F(WipedSecrets, ADerivationWipesItsDigestAndWhatItAdds) {
  const std::string derived = derive(KeyPurpose::kKey, 20);
  EXPECT_EQ(beginningWith(derived + std::string(1, derived[0])), 1) << "the digest, repeated";
  EXPECT_EQ(beginningWith(derived), 2);
  EXPECT_EQ(watched_wipes::ofTheStack(), 1);
}

TEST_F(WipedSecrets, AMacWipesItsKey) {
  const std::string derived = derive(KeyPurpose::kMac, 20);
  const int byTheDerivation = beginningWith(derived);
  const velmora::Password password(kPassword);
  velmora::DerivationBudget budget;
  Bytes code;
  watched_wipes::forget();
  EXPECT_EQ(velmora::passwordMac(*velmora::findMacDigest("SHA-1"), inputOf(password), viewOf(salt),
                                 budget, code),
            kOk);
  EXPECT_EQ(beginningWith(derived), byTheDerivation + 1);
}

// pkcs-12PbeParams with the salt and the iterations behind the scheme's identifier.
TEST_F(WipedSecrets, DecryptionByPasswordWipesKeyAndVector) {
  constexpr size_t kKeyLength = 24;
  constexpr size_t kVectorLength = 8;
  const std::string derivedKey = derive(KeyPurpose::kKey, kKeyLength);
  const std::string derivedVector = derive(KeyPurpose::kIv, kVectorLength);
  const int byTheDerivation = beginningWith(derivedVector);
  const std::string algorithm =
      fromHex("060a2a864886f70d010c0103300d0408") + salt + fromHex("020103");
  const std::string cipher(16, 'x');
  const velmora::Password password(kPassword);
  velmora::DerivationBudget budget;
  Bytes plain;
  watched_wipes::forget();
  // Most probably the padding does not fit; the key was made all the same.
  (void)velmora::passwordDecrypt(viewOf(algorithm), password, viewOf(cipher), budget, plain);
  EXPECT_EQ(beginningWith(derivedKey), 1);
  EXPECT_EQ(beginningWith(derivedVector), byTheDerivation + 1);
}

TEST_F(WipedSecrets, APseWipesThePasswordThatItHad) {
  ASSERT_EQ(velmora_pse_configure("no file", "the password"), kOk);
  watched_wipes::forget();
  ASSERT_EQ(velmora_pse_configure(nullptr, nullptr), kOk);
  EXPECT_EQ(beginningWith("the password"), 1);
}

}  // namespace
}  // namespace vexa::test
