#include "support/sample_certificates.h"

#include <gtest/gtest.h>

#include "runtime/exports/common_types.h"
#include "vexa/runtime/reference_crypto.h"

namespace vexa::test {
namespace {

struct Issued {
  runtime::KeyObject* key = nullptr;
  runtime::Certificate* certificate = nullptr;
};

// With a null issuer the certificate is self-signed.
Issued issue(const char* name, const Issued* issuer, bool isCa) {
  constexpr uint32_t kKeyBits = 1024;
  Issued made;
  EXPECT_EQ(velmora_key_generate_weak_rsa(kKeyBits, kVelmoraShortKey, &made.key), 0);
  EXPECT_EQ(velmora_certificate_create(&made.certificate), 0);
  EXPECT_EQ(velmora_certificate_set_subject(made.certificate, name), 0);
  EXPECT_EQ(
      velmora_certificate_set_validity(made.certificate, "20260101T000000", "20460101T000000"), 0);
  EXPECT_EQ(velmora_certificate_set_public_key(made.certificate, &made.key->publicKey), 0);
  EXPECT_EQ(velmora_certificate_set_basic_constraints(made.certificate, isCa ? 1 : 0, -1), 0);
  EXPECT_EQ(velmora_certificate_sign(made.certificate, issuer != nullptr ? issuer->key : made.key,
                                     issuer != nullptr ? issuer->certificate : nullptr),
            0);
  return made;
}

// Makes the samples before the first spy begins to count blocks.
class MakeSamples : public testing::Environment {
 public:
  void SetUp() override { SampleCertificates::instance(); }
};
[[maybe_unused]] const auto* const makeSamples = testing::AddGlobalTestEnvironment(new MakeSamples);

}  // namespace

const SampleCertificates& SampleCertificates::instance() {
  static const SampleCertificates samples = [] {
    const Issued newRoot = issue("CN=Root,O=Orlind", nullptr, true);
    const Issued newAuthority = issue("CN=Authority,O=Orlind", &newRoot, true);
    const Issued newJane = issue("CN=Jane,O=Orlind", &newAuthority, false);
    velmora::commonTypesTable.KeyRelease(newRoot.key);
    velmora::commonTypesTable.KeyRelease(newAuthority.key);
    return SampleCertificates{newJane.key, newJane.certificate, newAuthority.certificate,
                              newRoot.certificate};
  }();
  return samples;
}

runtime::Certificate* decodeAgain(runtime::Certificate* certificate) {
  runtime::Certificate* copy = nullptr;
  EXPECT_EQ(velmora::commonTypesTable.CertificateDecode(
                certificate->table->GetEncoding(certificate), &copy),
            0);
  return copy;
}

}  // namespace vexa::test
