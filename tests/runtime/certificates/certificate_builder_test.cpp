#include "runtime/certificates/builder_fixture.h"
#include "support/slot.h"
#include "support/sweep.h"

namespace vexa::test {
namespace {

TEST_F(BuilderTest, ANewCertificateIsEmpty) {
  OwnedCertificate made;
  ASSERT_EQ(velmora_certificate_create(made.put()), kOk);
  const auto* const table = made->table;
  EXPECT_EQ(table->GetIssuer(made.get()), nullptr);
  EXPECT_EQ(table->GetSubject(made.get()), nullptr);
  EXPECT_EQ(table->GetEncoding(made.get()), nullptr);
  EXPECT_EQ(table->GetValueA(made.get()), nullptr);
  EXPECT_EQ(table->GetValueB(made.get()), nullptr);
  EXPECT_EQ(table->GetKeyUsage(made.get()), nullptr);
  EXPECT_EQ(table->GetPublicKey(made.get()), nullptr);
  EXPECT_EQ(table->IsSelfSigned(made.get()), 0);
}

TEST_F(BuilderTest, WithoutEncodingItEqualsOnlyItself) {
  OwnedCertificate a, b;
  ASSERT_EQ(velmora_certificate_create(a.put()), kOk);
  ASSERT_EQ(velmora_certificate_create(b.put()), kOk);
  EXPECT_EQ(types.CertificateCompare(a.get(), a.get()), 0);
  EXPECT_NE(types.CertificateCompare(a.get(), b.get()), 0);
}

TEST_F(BuilderTest, ASignedCertificateDecodesToWhatWasSet) {
  const OwnedCertificate made = prepared("CN=Jane,O=Örlind");
  const uint8_t serial[] = {0x80, 0x01};
  ASSERT_EQ(velmora_certificate_set_serial(made.get(), serial, sizeof(serial)), kOk);
  ASSERT_EQ(velmora_certificate_set_basic_constraints(made.get(), 1, 2), kOk);
  ASSERT_EQ(velmora_certificate_add_extended_key_usage(made.get(), "1.3.6.1.5.5.7.3.2"), kOk);
  const uint8_t flags[9] = {0, 0, 0, 0, 0, 7, 1, 0, 1};
  ASSERT_EQ(made->table->SetKeyUsage(made.get(), flags, 1), kOk);
  ASSERT_EQ(velmora_certificate_sign(made.get(), key.get(), nullptr), kOk);

  OwnedCertificate read;
  const std::string der = bytesOf(made->table->GetEncoding(made.get()));
  ASSERT_EQ(decode(der, read.put()), kOk);
  const auto* const table = read->table;
  EXPECT_EQ(text(table->GetSubject(read.get())), "CN=Jane,O=Örlind");
  EXPECT_EQ(text(table->GetIssuer(read.get())), "CN=Jane,O=Örlind");
  EXPECT_STREQ(static_cast<const char*>(table->GetValueA(read.get())), "20240229T120000");
  EXPECT_STREQ(static_cast<const char*>(table->GetValueB(read.get())), "20501231T235959");
  EXPECT_EQ(toHex(table->GetKeyUsage(read.get()), 9), "000000000001010001");
  EXPECT_EQ(table->GetBasicConstraints(read.get())->cA, 1);
  EXPECT_NE(table->GetExtendedKeyUsage(read.get()), nullptr);
  EXPECT_EQ(table->IsSelfSigned(read.get()), 1);
  EXPECT_EQ(table->IsSelfSigned(made.get()), 1);
  EXPECT_EQ(types.KeyCompare(table->GetPublicKey(read.get()), &key->publicKey), 0);
  EXPECT_NE(der.find(fromHex("0203008001")), std::string::npos);            // the serial number
  EXPECT_NE(der.find(fromHex("0603551d0f0101ff0405")), std::string::npos);  // critical
}

TEST_F(BuilderTest, KeyUsageIsVisibleAtOnceAndMayBeEmpty) {
  const OwnedCertificate made = prepared("CN=x");
  uint8_t flags[9] = {1, 1, 1, 1};
  ASSERT_EQ(made->table->SetKeyUsage(made.get(), flags, 1), kOk);
  flags[0] = 0;  // copied, so this does not matter
  EXPECT_EQ(toHex(made->table->GetKeyUsage(made.get()), 9), "010101010000000000");
  const uint8_t none[9] = {};
  ASSERT_EQ(made->table->SetKeyUsage(made.get(), none, 1), kOk);
  ASSERT_EQ(velmora_certificate_sign(made.get(), key.get(), nullptr), kOk);
  OwnedCertificate read;
  ASSERT_EQ(decode(bytesOf(made->table->GetEncoding(made.get())), read.put()), kOk);
  EXPECT_EQ(toHex(read->table->GetKeyUsage(read.get()), 9), "000000000000000000");
}

TEST_F(BuilderTest, KeyUsageWithoutFlagsIsANullPointer) {
  const OwnedCertificate made = prepared("CN=x");
  EXPECT_EQ(made->table->SetKeyUsage(made.get(), nullptr, 1), kNullPointer);
  EXPECT_EQ(made->table->GetKeyUsage(made.get()), nullptr);
}

TEST_F(BuilderTest, ASignedCertificateIsNotSignedAgain) {
  const OwnedCertificate made = prepared("CN=x");
  ASSERT_EQ(velmora_certificate_sign(made.get(), key.get(), nullptr), kOk);
  const std::string before = bytesOf(made->table->GetEncoding(made.get()));
  EXPECT_EQ(velmora_certificate_sign(made.get(), key.get(), nullptr), kAccessDenied);
  EXPECT_EQ(bytesOf(made->table->GetEncoding(made.get())), before);
}

TEST_F(BuilderTest, AnUnfinishedCertificateEqualsNoOther) {
  const OwnedCertificate root = certificate(samples::kRoot);
  const OwnedCertificate made = prepared("CN=x");
  EXPECT_NE(types.CertificateCompare(made.get(), root.get()), 0);
  EXPECT_NE(types.CertificateCompare(root.get(), made.get()), 0);
}

TEST_F(BuilderTest, TheIssuerComesFromItsCertificate) {
  const OwnedCertificate issuer = prepared("CN=CA");
  ASSERT_EQ(velmora_certificate_set_basic_constraints(issuer.get(), 1, -1), kOk);
  ASSERT_EQ(velmora_certificate_sign(issuer.get(), key.get(), nullptr), kOk);
  const OwnedCertificate made = prepared("CN=Jane");
  ASSERT_EQ(velmora_certificate_sign(made.get(), key.get(), issuer.get()), kOk);
  EXPECT_EQ(text(made->table->GetIssuer(made.get())), "CN=CA");
  EXPECT_EQ(made->table->IsSelfSigned(made.get()), 0);
}

TEST_F(BuilderTest, TheIssuerMayBeNamed) {
  const OwnedCertificate made = prepared("");
  EXPECT_EQ(made->table->GetSubject(made.get()), nullptr);
  ASSERT_EQ(velmora_certificate_set_issuer(made.get(), "CN=CA"), kOk);
  ASSERT_EQ(velmora_certificate_sign(made.get(), key.get(), nullptr), kOk);
  EXPECT_EQ(text(made->table->GetIssuer(made.get())), "CN=CA");
}

TEST_F(BuilderTest, SigningNeedsValidityKeyAndRsaNumbers) {
  OwnedCertificate made;
  ASSERT_EQ(velmora_certificate_create(made.put()), kOk);
  EXPECT_EQ(velmora_certificate_sign(made.get(), key.get(), nullptr), kInvalidArgument);
  EXPECT_EQ(velmora_certificate_set_validity(made.get(), "2024-02-29", "20501231T235959"),
            kInvalidArgument);
  EXPECT_EQ(velmora_certificate_set_serial(made.get(), reinterpret_cast<const uint8_t*>(""), 0),
            kInvalidArgument);
  const OwnedCertificate complete = prepared("CN=x");
  const HeldKey noRsa = privateKey("not a key");
  EXPECT_EQ(velmora_certificate_sign(complete.get(), noRsa.get(), nullptr), kInvalidArgument);
  EXPECT_EQ(complete->table->GetEncoding(complete.get()), nullptr);
}

TEST_F(BuilderTest, SettersWithoutMeaningAreNotedInOrder) {
  const OwnedCertificate made = prepared("CN=x");
  int words[2];
  void* const a = &words[0];
  void* const b = &words[1];
  for (const int n : {62, 56, 57, 63, 60}) {
    EXPECT_EQ(call<int32_t>(made.get(), n, a, b), kOk);
  }
  EXPECT_EQ(call<int32_t>(made.get(), 61, b), kOk);
  VelmoraSetterCall noted{};
  uint64_t index = 0;
  for (const uint32_t n : {62u, 56u, 57u, 63u, 60u}) {
    ASSERT_EQ(velmora_certificate_setter_call(made.get(), index++, &noted), kOk);
    EXPECT_EQ(noted.slot, n);
    EXPECT_EQ(noted.words[0], a);
    EXPECT_EQ(noted.words[1], b);
  }
  ASSERT_EQ(velmora_certificate_setter_call(made.get(), index++, &noted), kOk);
  EXPECT_EQ(noted.slot, 61u);
  EXPECT_EQ(noted.words[0], b);
  EXPECT_EQ(velmora_certificate_setter_call(made.get(), index, &noted), kInvalidArgument);
}

TEST_F(BuilderTest, ADuplicateUnderConstructionIsIndependent) {
  const OwnedCertificate made = prepared("CN=x");
  ASSERT_EQ(velmora_certificate_add_extended_key_usage(made.get(), "1.2.3"), kOk);
  void* copied = nullptr;
  ASSERT_EQ(call<int32_t>(made.get(), 4, &copied), kOk);
  OwnedCertificate copy;
  *copy.put() = static_cast<runtime::Certificate*>(copied);
  ASSERT_NE(copy.get(), made.get());
  ASSERT_EQ(velmora_certificate_set_subject(copy.get(), "CN=y"), kOk);
  EXPECT_EQ(text(made->table->GetSubject(made.get())), "CN=x");
  ASSERT_EQ(velmora_certificate_sign(copy.get(), key.get(), nullptr), kOk);
  EXPECT_NE(copy->table->GetExtendedKeyUsage(copy.get()), nullptr);
  EXPECT_EQ(made->table->GetEncoding(made.get()), nullptr);
}

TEST_F(BuilderTest, EveryFailedAllocationIsSurvived) {
  sweepAllocations(spy, [&] {
    OwnedCertificate made, copy;
    const uint8_t flags[9] = {1};
    int32_t result = velmora_certificate_create(made.put());
    const auto step = [&](auto&& function, auto... arguments) {
      if (result == kOk) {
        result = function(made.get(), arguments...);
      }
    };
    step(velmora_certificate_set_subject, "CN=a,O=b");
    step(velmora_certificate_set_validity, "20240229T120000", "20501231T235959");
    step(velmora_certificate_set_public_key, &key->publicKey);
    step(velmora_certificate_add_extended_key_usage, "1.3.6.1.5.5.7.3.2");
    step(velmora_certificate_set_serial, flags, uint64_t{1});
    step(velmora_certificate_add_alternative_name, "DNS:a.example");
    step(velmora_certificate_add_alternative_name, "IP:::1");
    if (result == kOk) {
      result = made->table->SetKeyUsage(made.get(), flags, 1);
    }
    if (result == kOk) {
      result = made->table->SetExtensionA(made.get(), nullptr, nullptr);
    }
    void* copied = nullptr;
    if (result == kOk) {
      result = call<int32_t>(made.get(), 4, &copied);
    }
    *copy.put() = static_cast<runtime::Certificate*>(copied);
    step(velmora_certificate_sign, key.get(), nullptr);
    EXPECT_TRUE(result == kOk || result == kOutOfMemory) << result;
    return result == kOk;
  });
}

TEST_F(BuilderTest, EveryFailedAllocationOfAKeyOnACurveIsSurvived) {
  sweepAllocations(spy, [&] {
    HeldKey curve;
    OwnedCertificate made;
    int32_t result = velmora_key_generate_ec("P-256", curve.put());
    EXPECT_EQ(curve.get() != nullptr, result == kOk);
    if (result == kOk) {
      result = velmora_certificate_create(made.put());
    }
    const auto step = [&](auto&& function, auto... arguments) {
      if (result == kOk) {
        result = function(made.get(), arguments...);
      }
    };
    step(velmora_certificate_set_subject, "CN=a");
    step(velmora_certificate_set_validity, "20240229T120000", "20501231T235959");
    if (result == kOk) {
      step(velmora_certificate_set_public_key, &curve->publicKey);
      step(velmora_certificate_sign, curve.get(), nullptr);
    }
    EXPECT_TRUE(result == kOk || result == kOutOfMemory) << result;
    return result == kOk;
  });
}

}  // namespace
}  // namespace vexa::test
