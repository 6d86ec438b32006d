
#include "runtime/bytes.h"
#include "runtime/keys/key_pieces.h"
#include "runtime/keys/own_memory.h"
#include "runtime/pkcs12/pfx_fixture.h"

// Whether anything of a private key is left in the process when the key is gone. Reads the
// process's memory as the system shows it.
namespace vexa::test {
namespace {

class KeySecretsTest : public PfxTest {
 protected:
  void SetUp() override;

  void signWith(const HeldKey& key) {
    const OwnedCertificate made = draft("CN=x", &key->publicKey);
    ASSERT_EQ(velmora_certificate_sign(made.get(), key.get(), nullptr), kOk);
  }

  // Writes a file with the key and reads it.
  void passThroughFile(const HeldKey& key) {
    const HeldParameters made = parameters();
    made->iterations = 2;
    addRsaKey(made.get(), privateBytes(*key.get()), 1);
    String password("secret");
    HeldBuffer file;
    ASSERT_EQ(spy.pkcs12.Encode(made.get(), password.get(), file.put()), kOk);
    HeldBags bags;
    uint8_t verified = 0;
    ASSERT_EQ(spy.pkcs12.Decode(file.get(), nullptr, password.get(), bags.put(), &verified), kOk);
    ASSERT_EQ(bags->bag->key->key.length, key->privateKey.bitLength / 8);
  }
};

// Everything once with another key: when a function is called for the first time, the system's
// loader saves the registers, with whatever they hold, on the stack.
void KeySecretsTest::SetUp() {
  PfxTest::SetUp();
  HeldKey other;
  ASSERT_EQ(velmora_key_generate_weak_rsa(1024, kVelmoraShortKey, other.put()), kOk);
  signWith(other);
  passThroughFile(other);
  ASSERT_EQ(velmora_key_generate_ec("P-256", other.put()), kOk);
  signWith(other);
}

TEST_F(KeySecretsTest, NothingOfAnRsaKeyIsLeftBehind) {
  HeldKey key;
  ASSERT_EQ(velmora_key_generate_rsa(2048, key.put()), kOk);
  const Pieces pieces = keyPieces(*key.get());
  ASSERT_GT(pieces.count(), 40u);
  EXPECT_GT(countInMemory(pieces), 0) << "the search finds a key that is there";
  signWith(key);
  key.reset();
  EXPECT_EQ(countInMemory(pieces), 0);
}

TEST_F(KeySecretsTest, NothingOfAKeyOnACurveIsLeftBehind) {
  HeldKey key;
  ASSERT_EQ(velmora_key_generate_ec("P-256", key.put()), kOk);
  const Pieces pieces = keyPieces(*key.get());
  EXPECT_GT(countInMemory(pieces), 0) << "the search finds a key that is there";
  signWith(key);
  key.reset();
  EXPECT_EQ(countInMemory(pieces), 0);
}

TEST_F(KeySecretsTest, NothingOfAKeyInAFileIsLeftBehind) {
  HeldKey key;
  ASSERT_EQ(velmora_key_generate_rsa(2048, key.put()), kOk);
  const Pieces pieces = keyPieces(*key.get());
  passThroughFile(key);
  key.reset();
  EXPECT_EQ(countInMemory(pieces), 0);
}

// Passwords short and long, for which texts have different places: set, in the place of each other,
// and taken away.
TEST_F(KeySecretsTest, NothingOfAPasswordOfThePseIsLeftBehind) {
  constexpr const char* kPasswords[] = {"fifteen letters", "a password that is longer than that"};
  Pieces pieces;
  for (const char* const password : kPasswords) {
    pieces.add(reinterpret_cast<const uint8_t*>(password), std::strlen(password), 1);
  }
  for (const char* const first : kPasswords) {
    ASSERT_EQ(velmora_pse_configure("no file", first), kOk);
    EXPECT_EQ(velmora_pse_reload(), kAccessDenied);
    for (const char* const second : kPasswords) {
      ASSERT_EQ(velmora_pse_configure("no file", second), kOk);
      ASSERT_EQ(velmora_pse_configure("no file", first), kOk);
    }
    ASSERT_EQ(velmora_pse_configure(nullptr, nullptr), kOk);
    velmora::wipeStack();
    EXPECT_EQ(countInMemory(pieces), 0) << first;
  }
}

}  // namespace
}  // namespace vexa::test
