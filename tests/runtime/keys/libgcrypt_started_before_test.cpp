#include <gcrypt.h>

#include "runtime/crypto_fixture.h"
#include "runtime/keys/libgcrypt.h"
#include "runtime/samples.h"

// A program that has started the library itself: nothing is started again, and its memory stays its
// own.
namespace vexa::test {
namespace {

class StartedBefore : public CryptoTest {};

TEST_F(StartedBefore, EverythingWorks) {
  gcry_check_version(nullptr);
  gcry_control(GCRYCTL_DISABLE_SECMEM, 0);
  gcry_control(GCRYCTL_INITIALIZATION_FINISHED, 0);
  void* const own = gcry_malloc(10);
  EXPECT_TRUE(velmora::libraryReady());
  gcry_free(own);

  HeldKey key;
  ASSERT_EQ(velmora_key_generate_ec("P-256", key.put()), kOk);
  const OwnedCertificate made = draft("CN=x", &key->publicKey);
  EXPECT_EQ(velmora_certificate_sign(made.get(), key.get(), nullptr), kOk);
  EXPECT_EQ(made->table->IsSelfSigned(made.get()), 1);
}

}  // namespace
}  // namespace vexa::test
