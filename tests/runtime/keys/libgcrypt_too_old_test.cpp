#include <gcrypt.h>

#include "runtime/certificates/extension_writer.h"
#include "runtime/keys/ec_key.h"
#include "runtime/keys/libgcrypt.h"
#include "runtime/keys/signing.h"
#include "runtime/pkcs12/password_cipher.h"
#include "runtime/pkcs12/password_mac.h"
#include "runtime/pkcs12/pfx_fixture.h"
#include "runtime/pkcs12/pfx_maker.h"
#include "runtime/samples.h"

namespace {
int asked = 0;
}  // namespace

// The library of this program is too old, whatever is asked for.
extern "C" const char* gcry_check_version(const char*) {
  ++asked;
  return nullptr;
}

namespace vexa::test {
namespace {

class TooOldTest : public PfxTest {};

TEST_F(TooOldTest, ItIsAskedOnce) {
  EXPECT_FALSE(velmora::libraryReady());
  EXPECT_FALSE(velmora::libraryReady());
  EXPECT_EQ(asked, 1);
}

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
  const OwnedCertificate made = draft("CN=Jane", leaf->table->GetPublicKey(leaf.get()));
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

// A file whose MAC is empty is as wrong as any other: what cannot be made equals nothing.
TEST_F(TooOldTest, NoMacIsMadeOrFoundRight) {
  const velmora::MacDigest* const digest = velmora::findMacDigest("SHA-1");
  const uint8_t salt[8] = {};
  velmora::DerivationBudget budget;
  velmora::Bytes code;
  EXPECT_EQ(velmora::passwordMac(*digest, {salt, salt, 1}, salt, budget, code), kFail);
  EXPECT_EQ(code.size(), 0u);
  uint8_t out[20] = {};
  EXPECT_FALSE(velmora::hmac(digest->digest, salt, salt, out));

  const std::string digestInfo =
      element("30", fromHex("300906052b0e03021a0500") + element("04", ""));
  const std::string pfx = element("30", fromHex("020103") + dataInfo(element("30", "")) +
                                            element("30", digestInfo + element("04", "salt")));
  const Opened opened = open(pfx);
  EXPECT_EQ(opened.result, kFail);
  EXPECT_EQ(opened.verified, 0);
}

TEST_F(TooOldTest, NothingIsEncryptedWithAPassword) {
  const velmora::Password secret("secret");
  velmora::DerivationBudget budget;
  velmora::Bytes algorithm, out;
  velmora::DerWriter writer(algorithm);
  EXPECT_EQ(velmora::passwordEncrypt(*velmora::findPasswordScheme("pbeWithSHA1And128BitRC4"),
                                     secret, 1, viewOf("plain"), budget, writer, out),
            kFail);
  // pbeWithSHA1And128BitRC4 with a salt of eight bytes, one iteration
  const std::string parameters = fromHex(
      "060a2a864886f70d010c0101"
      "300d0408000102030405060702"
      "0101");
  EXPECT_EQ(velmora::passwordDecrypt(viewOf(parameters), secret, viewOf("text"), budget, out),
            kFail);
  EXPECT_EQ(out.size(), 0u);
  EXPECT_FALSE(velmora::openCipher(GCRY_CIPHER_ARCFOUR, GCRY_CIPHER_MODE_STREAM,
                                   viewOf("sixteen bytes ..")));
}

TEST_F(TooOldTest, NoKeyIsLedToItsPublicHalfOrIdentified) {
  velmora::Bytes point;
  const uint8_t secret[32] = {1};
  EXPECT_EQ(velmora::appendPoint(*velmora::findCurve("P-256"), secret, point), kFail);
  EXPECT_EQ(point.size(), 0u);
  const velmora::CertificateObject certificate;
  velmora::KeyIdentifiers identifiers;
  EXPECT_EQ(velmora::identifyKeys(certificate, nullptr, true, identifiers), kFail);
  EXPECT_EQ(identifiers.subject.size(), 0u);
}

TEST_F(TooOldTest, NoBytesAreSigned) {
  const HeldKey key = privateKey(samples::kLeafKey);
  velmora::Bytes signature;
  EXPECT_EQ(velmora::signSha256(key->privateKey, viewOf("x"), signature), kFail);
  EXPECT_EQ(signature.size(), 0u);
}

}  // namespace
}  // namespace vexa::test
