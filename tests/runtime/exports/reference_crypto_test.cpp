#include "runtime/crypto_fixture.h"
#include "runtime/samples.h"

// What the exports of the reference runtime refuse before they do anything.
namespace vexa::test {
namespace {

class ReferenceCryptoTest : public CryptoTest {};

TEST_F(ReferenceCryptoTest, KeysRefuseNullAndClearTheOut) {
  EXPECT_EQ(velmora_key_generate_rsa(2048, nullptr), kNullPointer);
  EXPECT_EQ(velmora_key_generate_weak_rsa(2048, 0, nullptr), kNullPointer);
  EXPECT_EQ(velmora_key_generate_ec("P-256", nullptr), kNullPointer);
  const runtime::ByteBuffer nothing{};
  EXPECT_EQ(velmora_key_read(&nothing, nullptr, nullptr, nullptr), kNullPointer);

  runtime::KeyObject unused{};
  runtime::KeyObject* key = &unused;
  EXPECT_EQ(velmora_key_generate_ec(nullptr, &key), kNullPointer);
  EXPECT_EQ(key, nullptr);
  key = &unused;
  const char* reason = "left over";
  EXPECT_EQ(velmora_key_read(nullptr, nullptr, &key, &reason), kNullPointer);
  EXPECT_EQ(key, nullptr);
  EXPECT_EQ(reason, nullptr);
  key = &unused;
  EXPECT_EQ(velmora_key_generate_weak_rsa(2048, 4, &key), kInvalidArgument);
  EXPECT_EQ(key, nullptr);
}

TEST_F(ReferenceCryptoTest, ChecksRefuseNull) {
  const runtime::KeyObject key{};
  EXPECT_EQ(velmora_key_check_pair(nullptr, &key.publicKey), kNullPointer);
  EXPECT_EQ(velmora_key_check_pair(&key, nullptr), kNullPointer);
  const runtime::ByteBuffer file{};
  uint32_t problem = 0;
  EXPECT_EQ(velmora_pkcs12_problem(nullptr, "", &problem), kNullPointer);
  EXPECT_EQ(velmora_pkcs12_problem(&file, "", nullptr), kNullPointer);
  EXPECT_EQ(velmora_certificate_reason(nullptr), nullptr);
}

TEST_F(ReferenceCryptoTest, CertificatesRefuseNull) {
  EXPECT_EQ(velmora_certificate_create(nullptr), kNullPointer);
  OwnedCertificate holder;
  ASSERT_EQ(velmora_certificate_create(holder.put()), kOk);
  runtime::Certificate* const made = holder.get();
  const uint8_t serial = 1;
  const char time[] = "20240229T120000";
  const runtime::KeyObject key{};
  VelmoraSetterCall call{};
  for (const int32_t result : {
           velmora_certificate_set_subject(nullptr, "CN=a"),
           velmora_certificate_set_subject(made, nullptr),
           velmora_certificate_set_issuer(nullptr, "CN=a"),
           velmora_certificate_set_issuer(made, nullptr),
           velmora_certificate_set_serial(nullptr, &serial, 1),
           velmora_certificate_set_serial(made, nullptr, 1),
           velmora_certificate_set_validity(nullptr, time, time),
           velmora_certificate_set_validity(made, nullptr, time),
           velmora_certificate_set_validity(made, time, nullptr),
           velmora_certificate_set_public_key(nullptr, &key.publicKey),
           velmora_certificate_set_public_key(made, nullptr),
           velmora_certificate_set_basic_constraints(nullptr, 1, -1),
           velmora_certificate_add_extended_key_usage(nullptr, "serverAuth"),
           velmora_certificate_add_extended_key_usage(made, nullptr),
           velmora_certificate_add_alternative_name(nullptr, "DNS:a.example"),
           velmora_certificate_add_alternative_name(made, nullptr),
           velmora_certificate_sign(nullptr, &key, nullptr),
           velmora_certificate_sign(made, nullptr, nullptr),
           velmora_certificate_setter_call(nullptr, 0, &call),
           velmora_certificate_setter_call(made, 0, nullptr),
       }) {
    EXPECT_EQ(result, kNullPointer);
  }
  EXPECT_EQ(velmora_certificate_setter_call(made, 0, &call), kInvalidArgument);
}

TEST_F(ReferenceCryptoTest, ACompleteCertificateDoesNotChange) {
  const OwnedCertificate holder = certificate(samples::kRoot);
  runtime::Certificate* const complete = holder.get();
  const uint8_t serial = 1;
  const runtime::PublicKey* const key = complete->table->GetPublicKey(complete);
  for (const int32_t result : {
           velmora_certificate_set_subject(complete, "CN=a"),
           velmora_certificate_set_issuer(complete, "CN=a"),
           velmora_certificate_set_serial(complete, &serial, 1),
           velmora_certificate_set_validity(complete, "20240229T120000", "20250228T120000"),
           velmora_certificate_set_public_key(complete, key),
           velmora_certificate_set_basic_constraints(complete, 1, -1),
           velmora_certificate_add_extended_key_usage(complete, "serverAuth"),
           velmora_certificate_add_alternative_name(complete, "DNS:a.example"),
       }) {
    EXPECT_EQ(result, kAccessDenied);
  }
}

}  // namespace
}  // namespace vexa::test
