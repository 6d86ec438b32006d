#include <gtest/gtest.h>

#include <array>
#include <string>

#include "support/fake_certificate.h"
#include "support/module_fixture.h"
#include "support/sample_certificates.h"
#include "support/sweep.h"
#include "vexa/certificates.h"

namespace vexa::test {
namespace {

using runtime::Certificate;
using Flags = std::array<uint8_t, runtime::kKeyUsageFlags>;

int nameA = 0;
int nameB = 0;

class CertificateList : public ModuleTest {
 protected:
  void SetUp() override {
    ModuleTest::SetUp();
    // Names by identity, object identifiers by the number that stands behind them.
    spy.commonTypes.NameCompare = [](runtime::Name* a, runtime::Name* b) {
      return a != nullptr && a == b ? 0 : 1;
    };
  }
  const void* functions() { return list(kCertificateListName); }
  int32_t ask(int slotNumber, Certificate* certificate) {
    return tableEntry<int32_t(Certificate*)>(functions(), slotNumber)(certificate);
  }
  void nameIssuerAndSubject(bool same) {
    fake.issuer = reinterpret_cast<runtime::Name*>(&nameA);
    fake.subject = reinterpret_cast<runtime::Name*>(same ? &nameA : &nameB);
  }

  FakeCertificate fake;
};

TEST_F(CertificateList, EveryPredicateAnswers0ForNull) {
  for (int slotNumber = 1; slotNumber <= 6; ++slotNumber) {
    EXPECT_EQ(ask(slotNumber, nullptr), 0) << slotNumber;
  }
}

TEST_F(CertificateList, AnAbsentKeyUsageAllowsEncryptionAndSignature) {
  EXPECT_EQ(ask(1, fake), 1);
  EXPECT_EQ(ask(2, fake), 1);
}

TEST_F(CertificateList, EachKeyUsageFlagAllowsWhatItStandsFor) {
  for (size_t flag = 0; flag < runtime::kKeyUsageFlags; ++flag) {
    Flags flags{};
    flags[flag] = 1;
    fake.keyUsage = flags.data();
    EXPECT_EQ(ask(1, fake), flag == 2 || flag == 3 ? 1 : 0) << "encryption " << flag;
    EXPECT_EQ(ask(2, fake), flag == 0 || flag == 1 ? 1 : 0) << "signature " << flag;
    EXPECT_EQ(ask(4, fake), flag == 5 || flag == 6 ? 1 : 0) << "CA " << flag;
  }
}

TEST_F(CertificateList, AFlagIsSetByEveryValueButZero) {
  for (const uint8_t value : {uint8_t{1}, uint8_t{2}, uint8_t{0x80}, uint8_t{0xFF}}) {
    Flags flags{};
    flags[runtime::kDataEncipherment] = flags[runtime::kNonRepudiation] = flags[runtime::kCrlSign] =
        value;
    fake.keyUsage = flags.data();
    const runtime::BasicConstraints constraints{value};
    fake.basicConstraints = &constraints;
    for (const int slotNumber : {1, 2, 4}) {
      EXPECT_EQ(ask(slotNumber, fake), 1) << slotNumber;
    }
  }
}

TEST_F(CertificateList, AbsentBasicConstraintsCountAsCa) {
  EXPECT_EQ(ask(4, fake), 1);
  const runtime::BasicConstraints no{0};
  fake.basicConstraints = &no;
  EXPECT_EQ(ask(4, fake), 0);
  const runtime::BasicConstraints yes{1};
  fake.basicConstraints = &yes;
  EXPECT_EQ(ask(4, fake), 1);
  const Flags none{};
  fake.keyUsage = none.data();
  EXPECT_EQ(ask(4, fake), 0) << "the key usage excludes it";
}

TEST_F(CertificateList, ARootIsACaWhoseNamesAreEqual) {
  nameIssuerAndSubject(true);
  EXPECT_EQ(ask(5, fake), 1);
  EXPECT_EQ(ask(6, fake), 0);
  nameIssuerAndSubject(false);
  EXPECT_EQ(ask(5, fake), 0);
  EXPECT_EQ(ask(6, fake), 0);
}

TEST_F(CertificateList, ASelfIssuedEndEntityIsNoRoot) {
  const runtime::BasicConstraints no{0};
  fake.basicConstraints = &no;
  nameIssuerAndSubject(true);
  EXPECT_EQ(ask(5, fake), 0);
  EXPECT_EQ(ask(6, fake), 1);
}

TEST_F(CertificateList, ExtendedKeyUsagesAreComparedInTheirOrderUpToTheFirstMatch) {
  runtime::ObjectId ids[3] = {};
  runtime::ExtendedKeyUsage third{&ids[2], nullptr};
  runtime::ExtendedKeyUsage second{&ids[1], &third};
  runtime::ExtendedKeyUsage first{&ids[0], &second};
  fake.extendedKeyUsage = &first;
  static std::vector<runtime::ObjectId*> compared;
  compared.clear();
  spy.commonTypes.ObjectIdCompare = [](runtime::ObjectId* a, runtime::ObjectId* b) {
    compared.push_back(a);
    return a == b ? 0 : 1;
  };
  auto* has = tableEntry<int32_t(Certificate*, runtime::ObjectId*)>(functions(), 7);
  EXPECT_EQ(has(fake, &ids[1]), 1);
  EXPECT_EQ(compared, (std::vector<runtime::ObjectId*>{&ids[0], &ids[1]}));
  runtime::ObjectId other{};
  EXPECT_EQ(has(fake, &other), 0);
  EXPECT_EQ(has(fake, nullptr), 0);
  EXPECT_EQ(has(nullptr, &other), 0);
  fake.extendedKeyUsage = nullptr;
  EXPECT_EQ(has(fake, &ids[0]), 0) << "an absent extension allows nothing";
}

TEST_F(CertificateList, ClientAuthenticationIsAskedForByItsIdentifier) {
  static std::string asked;
  static auto* const real = spy.commonTypes.ObjectIdFromText;
  spy.commonTypes.ObjectIdFromText = [](const char* text, runtime::ObjectId** out) {
    asked = text;
    return real(text, out);
  };
  EXPECT_EQ(ask(3, fake), 0) << "no extended key usage";
  EXPECT_EQ(asked, "1.3.6.1.5.5.7.3.2");
  runtime::ObjectId* clientAuth = nullptr;
  ASSERT_EQ(real("1.3.6.1.5.5.7.3.2", &clientAuth), 0);
  const runtime::ExtendedKeyUsage usage{clientAuth, nullptr};
  fake.extendedKeyUsage = &usage;
  EXPECT_EQ(ask(3, fake), 1);
  spy.failAllocation(1);
  EXPECT_EQ(ask(3, fake), 0);
  spy.allowAllocations();
  reinterpret_cast<runtime::Object*>(clientAuth)
      ->table->Release(reinterpret_cast<runtime::Object*>(clientAuth));
}

TEST_F(CertificateList, ValuesAreForwardedFromAccessors13And14) {
  EXPECT_EQ((tableEntry<void*(Certificate*)>(functions(), 8)(fake)), &fake.references);
  EXPECT_EQ((tableEntry<void*(Certificate*)>(functions(), 9)(fake)), &fake.encoding);
  EXPECT_EQ((tableEntry<void*(Certificate*)>(functions(), 8)(nullptr)), nullptr);
  EXPECT_EQ((tableEntry<void*(Certificate*)>(functions(), 9)(nullptr)), nullptr);
}

class CertificateAppend : public CertificateList {
 protected:
  runtime::CertificateList* append(runtime::CertificateList* head, Certificate* certificate) {
    return tableEntry<runtime::CertificateList*(runtime::CertificateList*, Certificate*)>(
        functions(), 10)(head, certificate);
  }
};

TEST_F(CertificateAppend, AppendsAtTheEndWithAReference) {
  const auto& samples = SampleCertificates::instance();
  runtime::CertificateList* head = append(nullptr, samples.jane);
  ASSERT_NE(head, nullptr);
  EXPECT_EQ(head->certificate, samples.jane);
  EXPECT_EQ(head->next, nullptr);
  EXPECT_EQ(head->count, 1u);
  EXPECT_EQ(append(head, samples.root), head);
  ASSERT_NE(head->next, nullptr);
  EXPECT_EQ(head->next->certificate, samples.root);
  EXPECT_EQ(head->next->next, nullptr);
  spy.commonTypes.CertificateListRelease(head);
}

TEST_F(CertificateAppend, SkipsNullAndEqualCertificates) {
  const auto& samples = SampleCertificates::instance();
  runtime::CertificateList* head = append(nullptr, samples.jane);
  EXPECT_EQ(append(head, nullptr), head);
  EXPECT_EQ(append(nullptr, nullptr), nullptr);
  Certificate* const equal = decodeAgain(samples.jane);
  EXPECT_NE(equal, samples.jane);
  EXPECT_EQ(append(head, equal), head);
  EXPECT_EQ(head->next, nullptr);
  auto* const object = reinterpret_cast<runtime::Object*>(equal);
  EXPECT_EQ(object->table->Release(object), 0u) << "no reference was kept";
  spy.commonTypes.CertificateListRelease(head);
}

TEST_F(CertificateAppend, WithoutMemoryTheListStaysAsItIs) {
  const auto& samples = SampleCertificates::instance();
  runtime::CertificateList* head = append(nullptr, samples.jane);
  spy.failAllocation(1);
  EXPECT_EQ(append(head, samples.root), head);
  EXPECT_EQ(head->next, nullptr);
  spy.allowAllocations();
  spy.commonTypes.CertificateListRelease(head);
}

class CertificateNames : public CertificateList {
 protected:
  std::string nameBy(int slotNumber, Certificate* certificate) {
    runtime::StringObject text{};
    tableEntry<void(Certificate*, runtime::StringObject*)>(functions(), slotNumber)(certificate,
                                                                                    &text);
    std::string result = spy.strings.GetText(&text);
    spy.strings.Clear(&text);
    return result;
  }
};

TEST_F(CertificateNames, TheSecondIsTheSubjectAndTheFirstTheIssuer) {
  Certificate* const jane = SampleCertificates::instance().jane;
  EXPECT_EQ(nameBy(11, jane), "CN=Jane,O=Orlind");
  EXPECT_EQ(nameBy(12, jane), "CN=Authority,O=Orlind");
  for (const int slotNumber : {11, 12}) {
    EXPECT_EQ(nameBy(slotNumber, nullptr), "");
    tableEntry<void(Certificate*, runtime::StringObject*)>(functions(), slotNumber)(jane, nullptr);
  }
}

TEST_F(CertificateNames, ACertificateIsReadFromBase64Text) {
  Certificate* const jane = SampleCertificates::instance().jane;
  const runtime::ByteBuffer* const der = jane->table->GetEncoding(jane);
  std::vector<uint8_t> text(der->length * 2 + 100);
  uint64_t length = text.size();
  ASSERT_EQ(spy.encode.Base64Encode(der->data, der->length, text.data(), &length, 0, 0, "\r\n"), 0);
  const std::string base64(reinterpret_cast<char*>(text.data()), length);
  auto* fromText = tableEntry<void(const char*, Certificate**)>(functions(), 13);
  for (const std::string& input :
       {base64, "-----BEGIN CERTIFICATE-----\r\n" + base64 + "-----END CERTIFICATE-----\r\n"}) {
    Certificate* read = nullptr;
    fromText(input.c_str(), &read);
    ASSERT_NE(read, nullptr);
    EXPECT_EQ(spy.commonTypes.CertificateCompare(read, jane), 0);
    auto* const object = reinterpret_cast<runtime::Object*>(read);
    object->table->Release(object);
  }
  auto* read = reinterpret_cast<Certificate*>(this);
  fromText("no certificate", &read);
  EXPECT_EQ(read, nullptr);
  read = reinterpret_cast<Certificate*>(this);
  spy.failAllocation(1);
  fromText(base64.c_str(), &read);
  EXPECT_EQ(read, nullptr) << "nor without memory";
  spy.allowAllocations();
  fromText(nullptr, &read);
  fromText("x", nullptr);
}

}  // namespace
}  // namespace vexa::test
