#include <gcrypt.h>

#include "runtime/pkcs12/password_derivation.h"
#include "runtime/pkcs12/pfx_fixture.h"
#include "runtime/samples.h"

// The library of this program is too old, whatever is asked for.
extern "C" const char* gcry_check_version(const char*) { return nullptr; }

namespace vexa::test {
namespace {

class TooOldTest : public PfxTest {};

TEST_F(TooOldTest, NoKeyIsMade) {
  HeldKey made;
  EXPECT_EQ(velmora_key_generate_rsa(2048, made.put()), kFail);
  EXPECT_EQ(velmora_key_generate_ec("P-256", made.put()), kFail);
  EXPECT_EQ(velmora_key_generate_rsa(16384, made.put()), kFail) << "of the largest size";
  EXPECT_EQ(velmora_key_generate_rsa(16392, made.put()), kInvalidArgument);
  EXPECT_EQ(made.get(), nullptr);
}

TEST_F(TooOldTest, NothingIsSigned) {
  const OwnedCertificate leaf = certificate(samples::kLeaf);
  OwnedCertificate made;
  ASSERT_EQ(velmora_certificate_create(made.put()), kOk);
  ASSERT_EQ(velmora_certificate_set_subject(made.get(), "CN=Jane"), kOk);
  ASSERT_EQ(velmora_certificate_set_validity(made.get(), "20240229T120000", "20501231T235959"),
            kOk);
  ASSERT_EQ(velmora_certificate_set_public_key(made.get(), leaf->table->GetPublicKey(leaf.get())),
            kOk);
  const HeldKey key = privateKey(samples::kLeafKey);
  EXPECT_EQ(velmora_certificate_sign(made.get(), key.get(), nullptr), kFail);
  EXPECT_EQ(made->table->GetEncoding(made.get()), nullptr);
}

// A signature that cannot be checked does not make a certificate another's.
TEST_F(TooOldTest, NoSignatureIsFoundWrong) {
  const OwnedCertificate root = certificate(samples::kRoot);
  EXPECT_EQ(root->table->IsSelfSigned(root.get()), 1);
}

TEST_F(TooOldTest, NothingIsEncrypted) {
  uint32_t algorithm = 12;
  uint32_t bits = 256;
  runtime::CipherItem second{runtime::kCipherAlgorithm, 0, &algorithm, 0, 0, {}, nullptr, nullptr};
  const runtime::CipherItem first{runtime::kCipherKeyBits, 0, &bits, 0, 0, {}, nullptr, &second};
  runtime::CipherItem out{runtime::kCipherKey, 0, nullptr, 0, 0, {}, nullptr, nullptr};
  ASSERT_EQ(spy.crypt.GenerateKey(&first, &out, algorithm), kOk) << "random bytes alone";
  Owned<runtime::SymmetricKey> key;
  *key.put() = static_cast<runtime::SymmetricKey*>(out.value);

  uint32_t mode = 0;
  uint64_t padding = 4;
  runtime::CipherItem items[] = {
      {runtime::kCipherKey, 0, key.get(), 0, 0, {}, nullptr, nullptr},
      {runtime::kCipherAlgorithm, 0, &algorithm, 0, 0, {}, nullptr, nullptr},
      {runtime::kCipherPadding, 0, &padding, 0, 0, {}, nullptr, nullptr},
      {runtime::kCipherMode, 0, &mode, 0, 0, {}, nullptr, nullptr},
  };
  for (size_t i = 0; i + 1 < std::size(items); ++i) {
    items[i].next = &items[i + 1];
  }
  uint8_t block[16] = {};
  runtime::ByteBuffer record{sizeof(block), block};
  EXPECT_EQ(spy.crypt.Cipher(items, block, 1, block, &record), kFail);
}

TEST_F(TooOldTest, NoFileIsOpened) {
  for (const std::string_view pfx : {samples::kModernPfx, samples::kRc4Pfx}) {
    const Opened opened = open(pfx);
    EXPECT_EQ(opened.result, kFail);
    EXPECT_EQ(opened.verified, 0);
    EXPECT_EQ(opened.bags.get(), nullptr);
  }
}

TEST_F(TooOldTest, NothingIsDerived) {
  const uint8_t salt[8] = {};
  uint8_t out[16] = {};
  velmora::DerivationBudget budget;
  EXPECT_EQ(
      velmora::derivePkcs12(GCRY_MD_SHA1, velmora::KeyPurpose::kKey, {salt, salt, 1}, budget, out),
      kFail);
  EXPECT_EQ(velmora::derivePbkdf2(GCRY_MD_SHA1, {salt, salt, 1}, budget, out), kFail);
}

}  // namespace
}  // namespace vexa::test
