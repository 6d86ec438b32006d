#include "runtime/crypto_fixture.h"
#include "runtime/keys/cipher.h"
#include "runtime/keys/key_pieces.h"
#include "runtime/keys/searched_stack.h"
#include "runtime/pkcs12/password_cipher.h"
#include "runtime/pkcs12/password_mac.h"
#include "runtime/views.h"

// Whether functions leave secrets on the stack that they ran on.
namespace vexa::test {
namespace {

using velmora::Bytes;
using velmora::ByteView;

class StackSecretsTest : public CryptoTest {
 protected:
  static Pieces piecesOf(const std::string& secret) {
    Pieces pieces;
    pieces.add(reinterpret_cast<const uint8_t*>(secret.data()), secret.size(), 0);
    return pieces;
  }

  // What the derivation gives, so that it is known what to look for.
  static std::string derived(velmora::KeyPurpose purpose, size_t length) {
    const velmora::Password password("secret");
    velmora::DerivationBudget budget;
    std::string key(length, '\0');
    EXPECT_EQ(velmora::derivePkcs12(GCRY_MD_SHA1, purpose,
                                    {password.terminatedUtf16(), viewOf(kSalt), kIterations},
                                    budget, {reinterpret_cast<uint8_t*>(key.data()), length}),
              kOk);
    return key;
  }

  static inline const std::string kSalt = "saltsalt";
  static constexpr uint32_t kIterations = 3;
};

TEST_F(StackSecretsTest, ASecretThatStaysIsFound) {
  const std::string secret = "a secret that is long enough";
  SearchedStack stack;
  stack.run([&] {
    volatile char copy[32];
    std::copy(secret.begin(), secret.end(), copy);
  });
  EXPECT_GT(stack.count(piecesOf(secret)), 0);
}

TEST_F(StackSecretsTest, KeyGenerationLeavesNoNumber) {
  HeldKey key;
  SearchedStack stack;
  stack.run([&] { EXPECT_EQ(velmora_key_generate_rsa(2048, key.put()), kOk); });
  EXPECT_EQ(stack.count(keyPieces(*key.get())), 0);
}

TEST_F(StackSecretsTest, DerivationLeavesNoKey) {
  const velmora::Password password("secret");
  uint8_t key[20];
  SearchedStack stack;
  stack.run([&] {
    velmora::DerivationBudget budget;
    EXPECT_EQ(velmora::derivePkcs12(GCRY_MD_SHA1, velmora::KeyPurpose::kKey,
                                    {password.terminatedUtf16(), viewOf(kSalt), kIterations},
                                    budget, key),
              kOk);
  });
  EXPECT_EQ(stack.count(piecesOf(derived(velmora::KeyPurpose::kKey, sizeof(key)))), 0);
}

TEST_F(StackSecretsTest, DerivationByPbkdf2LeavesNoKey) {
  const std::string password = "a password that is long enough to be found";
  for (const int digest : {GCRY_MD_SHA1, GCRY_MD_SHA256, GCRY_MD_SHA512}) {
    std::string key(32, '\0');
    SearchedStack stack;
    stack.run([&] {
      velmora::DerivationBudget budget;
      EXPECT_EQ(velmora::derivePbkdf2(digest, {viewOf(password), viewOf(kSalt), kIterations},
                                      budget, {reinterpret_cast<uint8_t*>(key.data()), key.size()}),
                kOk);
    });
    EXPECT_EQ(stack.count(piecesOf(key)), 0) << digest;
    EXPECT_EQ(stack.count(piecesOf(password)), 0) << digest;
  }
}

TEST_F(StackSecretsTest, AMacLeavesNoKey) {
  const velmora::Password password("secret");
  const velmora::MacDigest* const digest = velmora::findMacDigest("SHA-1");
  SearchedStack stack;
  stack.run([&] {
    velmora::DerivationBudget budget;
    Bytes code;
    EXPECT_EQ(
        velmora::passwordMac(*digest, {password.terminatedUtf16(), viewOf(kSalt), kIterations},
                             viewOf(kSalt), budget, code),
        kOk);
  });
  EXPECT_EQ(stack.count(piecesOf(derived(velmora::KeyPurpose::kMac, 20))), 0);
}

// pkcs-12PbeParams with kSalt and kIterations behind the scheme's identifier.
TEST_F(StackSecretsTest, DecryptionLeavesNoKey) {
  const velmora::Password password("secret");
  const std::string algorithm =
      fromHex("060a2a864886f70d010c0103300d0408") + kSalt + fromHex("020103");
  const std::string cipher(16, 'x');
  SearchedStack stack;
  stack.run([&] {
    velmora::DerivationBudget budget;
    Bytes plain;
    // Most probably the padding does not fit; the key was made all the same.
    static_cast<void>(
        velmora::passwordDecrypt(viewOf(algorithm), password, viewOf(cipher), budget, plain));
    EXPECT_GT(budget.taken(), 0u);
  });
  EXPECT_EQ(stack.count(piecesOf(derived(velmora::KeyPurpose::kKey, 24))), 0);
}

TEST_F(StackSecretsTest, CiphersLeaveNeitherKeyNorText) {
  constexpr uint32_t kAes256 = 12;
  const std::string key = "a key of exactly 32 bytes, so it";
  const std::string iv(16, 'v');
  const std::string text = "text for a last block that stays";
  for (const auto mode :
       {velmora::CipherMode::kEcb, velmora::CipherMode::kCbc, velmora::CipherMode::kCfb}) {
    const velmora::CipherOperation operation{
        velmora::findCipher(kAes256), mode, false, viewOf(key), viewOf(iv), 16};
    std::string out(64, '\0');
    auto* const bytes = reinterpret_cast<uint8_t*>(out.data());
    SearchedStack stack;
    stack.run([&] {
      uint64_t length = 0;
      // One byte less where the last block needs padding.
      const size_t count = mode == velmora::CipherMode::kCfb ? 32 : 31;
      EXPECT_EQ(velmora::runCipher(operation, viewOf(text).first(count), bytes, length), kOk);
    });
    EXPECT_EQ(stack.count(piecesOf(key)), 0) << static_cast<int>(mode);
    EXPECT_EQ(stack.count(piecesOf(text.substr(16, 15) + '\1')), 0) << static_cast<int>(mode);
    // The end of the stream of keys: what was written without the text.
    std::string keyStream = out.substr(16, 16);
    for (size_t i = 0; i < keyStream.size(); ++i) {
      keyStream[i] = static_cast<char>(keyStream[i] ^ text[16 + i]);
    }
    EXPECT_EQ(stack.count(piecesOf(keyStream)), 0) << static_cast<int>(mode);
  }
}

// Nothing runs any more that would write over the key.
TEST_F(StackSecretsTest, ARefusedVectorLeavesNoKey) {
  constexpr uint32_t kAes256 = 12;
  const std::string key = "a key of exactly 32 bytes, so it";
  const velmora::CipherOperation operation{
      velmora::findCipher(kAes256), velmora::CipherMode::kCbc, false, viewOf(key), {}, 0};
  uint8_t out[16];
  SearchedStack stack;
  stack.run([&] {
    uint64_t length = 0;
    EXPECT_EQ(velmora::runCipher(operation, viewOf(kSalt), out, length), kInvalidArgument);
  });
  EXPECT_EQ(stack.count(piecesOf(key)), 0);
}

// The key of the stream cipher is a digest of the one that is given.
TEST_F(StackSecretsTest, TheStreamCipherLeavesNoKey) {
  constexpr uint32_t kStream = 6;
  const std::string key = "a key";
  const velmora::CipherOperation operation{
      velmora::findCipher(kStream), velmora::CipherMode::kEcb, false, viewOf(key), {}, 0};
  uint8_t out[4];
  SearchedStack stack;
  stack.run([&] {
    uint64_t length = 0;
    EXPECT_EQ(velmora::runCipher(operation, viewOf(kSalt).first(4), out, length), kOk);
  });
  std::string digest(32, '\0');
  gcry_md_hash_buffer(GCRY_MD_SHA256, digest.data(), key.data(), key.size());
  EXPECT_EQ(stack.count(piecesOf(digest)), 0);
}

}  // namespace
}  // namespace vexa::test
