#include "runtime/crypto_fixture.h"
#include "runtime/samples.h"
#include "support/slot.h"
#include "support/sweep.h"

namespace vexa::test {
namespace {

class BuilderTest : public CryptoTest {
 protected:
  BuilderTest() : key(privateKey(samples::kLeafKey)) {
    const OwnedCertificate leaf = certificate(samples::kLeaf);
    EXPECT_EQ(types.PublicKeyCopy(&key->publicKey, leaf->table->GetPublicKey(leaf.get())), kOk);
  }
  void TearDown() override {
    key.reset();
    CryptoTest::TearDown();
  }

  // Everything that signing needs.
  OwnedCertificate prepared(const char* subject) { return draft(subject, &key->publicKey); }

  HeldKey key;
};

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

class IssueTest : public BuilderTest {
 protected:
  OwnedCertificate authority(int32_t pathLength = -1) {
    OwnedCertificate made = prepared("CN=CA");
    EXPECT_EQ(velmora_certificate_set_basic_constraints(made.get(), 1, pathLength), kOk);
    EXPECT_EQ(velmora_certificate_sign(made.get(), key.get(), nullptr), kOk);
    return made;
  }
  static std::string encodingOf(const OwnedCertificate& certificate) {
    return bytesOf(certificate->table->GetEncoding(certificate.get()));
  }
  void expectRefused(const OwnedCertificate& certificate, const HeldKey& with,
                     runtime::Certificate* issuer, const char* reason) {
    EXPECT_EQ(velmora_certificate_sign(certificate.get(), with.get(), issuer), kInvalidArgument);
    EXPECT_STREQ(velmora_certificate_reason(certificate.get()), reason);
    EXPECT_EQ(certificate->table->GetEncoding(certificate.get()), nullptr);
  }
};

TEST_F(IssueTest, AnAuthorityWithoutKeyUsageGetsThatOfOne) {
  const OwnedCertificate made = authority();
  EXPECT_EQ(toHex(made->table->GetKeyUsage(made.get()), 9), "000000000001010000");
}

TEST_F(IssueTest, TheKeyMustBeTheIssuers) {
  HeldKey other;
  ASSERT_EQ(velmora_key_generate_ec("P-256", other.put()), kOk);
  const OwnedCertificate issuer = authority();
  expectRefused(prepared("CN=x"), other, issuer.get(),
                "the key does not belong to the issuer's certificate");
  expectRefused(prepared("CN=x"), other, nullptr,
                "a self-signed certificate is signed with its own key");
}

TEST_F(IssueTest, TheIssuerMustBeAnAuthorityThatMayIssue) {
  const OwnedCertificate plain = prepared("CN=Jane");
  ASSERT_EQ(velmora_certificate_sign(plain.get(), key.get(), nullptr), kOk);
  expectRefused(prepared("CN=x"), key, plain.get(),
                "the issuer's certificate is not that of an authority");
  const OwnedCertificate last = authority(0);
  const OwnedCertificate further = prepared("CN=x");
  ASSERT_EQ(velmora_certificate_set_basic_constraints(further.get(), 1, -1), kOk);
  expectRefused(further, key, last.get(), "the issuer's path length allows no further authority");
  const OwnedCertificate leaf = prepared("CN=x");
  EXPECT_EQ(velmora_certificate_sign(leaf.get(), key.get(), last.get()), kOk);
  // Revocation lists alone, behind a key usage of both.
  std::string listsAlone = encodingOf(authority());
  const size_t usage = listsAlone.find("\x03\x02\x01\x06");
  ASSERT_NE(usage, std::string::npos);
  listsAlone[usage + 3] = '\x02';
  OwnedCertificate lists;
  ASSERT_EQ(decode(listsAlone, lists.put()), kOk);
  expectRefused(prepared("CN=x"), key, lists.get(),
                "the issuer's key usage does not allow the signing of certificates");
  const OwnedCertificate unfinished = prepared("CN=CA");
  expectRefused(prepared("CN=x"), key, unfinished.get(),
                "the issuer's certificate is not signed or has no name");
}

TEST_F(IssueTest, AnAuthorityMustBeAbleToBeOne) {
  const OwnedCertificate made = prepared("CN=x");
  ASSERT_EQ(velmora_certificate_set_basic_constraints(made.get(), 1, -1), kOk);
  const uint8_t flags[9] = {1};
  ASSERT_EQ(made->table->SetKeyUsage(made.get(), flags, 1), kOk);
  expectRefused(made, key, nullptr,
                "the key usage of an authority must include the signing of certificates");
  const OwnedCertificate nameless = prepared("");
  ASSERT_EQ(velmora_certificate_set_basic_constraints(nameless.get(), 1, -1), kOk);
  expectRefused(nameless, key, nullptr, "an authority needs a name");
}

TEST_F(IssueTest, WhatIsMissingIsTold) {
  OwnedCertificate made;
  ASSERT_EQ(velmora_certificate_create(made.put()), kOk);
  expectRefused(made, key, nullptr, "the certificate has no validity");
  ASSERT_EQ(velmora_certificate_set_validity(made.get(), "20240229T120000", "20501231T235959"),
            kOk);
  expectRefused(made, key, nullptr, "the certificate has no public key");
  expectRefused(prepared("CN=x"), privateKey("not a key"), nullptr,
                "the issuer's key is neither an RSA key nor one on a known curve");
}

TEST_F(IssueTest, TheValidityMustBeOne) {
  const OwnedCertificate moment = prepared("CN=x");
  ASSERT_EQ(velmora_certificate_set_validity(moment.get(), "20250101T000000", "20250101T000000"),
            kOk);
  EXPECT_EQ(velmora_certificate_sign(moment.get(), key.get(), nullptr), kOk) << "a moment is one";
  const OwnedCertificate made = prepared("CN=x");
  ASSERT_EQ(velmora_certificate_set_validity(made.get(), "20250101T000000", "20240101T000000"),
            kOk);
  expectRefused(made, key, nullptr, "the validity ends before it begins");
}

TEST_F(IssueTest, SettersSayWhatWasWrong) {
  const OwnedCertificate made = prepared("CN=x");
  const auto reason = [&made] { return std::string(velmora_certificate_reason(made.get())); };
  EXPECT_EQ(velmora_certificate_reason(made.get()), nullptr);
  EXPECT_EQ(velmora_certificate_set_subject(made.get(), "C=Ä"), kInvalidArgument);
  EXPECT_EQ(reason(), "C takes a country code of two letters");
  const uint8_t zeros[2] = {};
  EXPECT_EQ(velmora_certificate_set_serial(made.get(), zeros, 2), kInvalidArgument);
  EXPECT_EQ(reason(), "a serial number is positive and has at most 20 bytes");
  const uint8_t ones[21] = {1};
  EXPECT_EQ(velmora_certificate_set_serial(made.get(), ones, 20), kOk);
  EXPECT_EQ(velmora_certificate_set_serial(made.get(), ones, 21), kInvalidArgument);
  EXPECT_EQ(velmora_certificate_set_validity(made.get(), "20240101T000000", "20250101"),
            kInvalidArgument);
  EXPECT_EQ(reason(), "a time is written YYYYMMDDThhmmss");
  EXPECT_EQ(velmora_certificate_set_validity(made.get(), "20240101", "20250101T000000"),
            kInvalidArgument);
  EXPECT_EQ(reason(), "a time is written YYYYMMDDThhmmss");
  EXPECT_EQ(velmora_certificate_set_basic_constraints(made.get(), 0, 1), kInvalidArgument);
  EXPECT_EQ(reason(), "a path length is for authorities");
  EXPECT_EQ(velmora_certificate_add_extended_key_usage(made.get(), "serverauth"), kInvalidArgument);
  EXPECT_EQ(reason(), "a purpose is neither known by name nor an object identifier");
  EXPECT_EQ(velmora_certificate_reason(nullptr), nullptr);
}

// RFC 5280, 4.2.1.12
TEST_F(IssueTest, PurposesHaveNames) {
  constexpr std::pair<const char*, char> kPurposes[] = {{"serverAuth", 1},   {"clientAuth", 2},
                                                        {"codeSigning", 3},  {"emailProtection", 4},
                                                        {"timeStamping", 8}, {"OCSPSigning", 9}};
  const OwnedCertificate made = prepared("CN=x");
  std::string expected;
  for (const auto& [name, last] : kPurposes) {
    EXPECT_EQ(velmora_certificate_add_extended_key_usage(made.get(), name), kOk) << name;
    expected += fromHex("06082b060105050703") + last;
  }
  ASSERT_EQ(velmora_certificate_sign(made.get(), key.get(), nullptr), kOk);
  EXPECT_NE(encodingOf(made).find(expected), std::string::npos);
}

TEST_F(IssueTest, AlternativeNamesAreWrittenAsTheirKind) {
  const OwnedCertificate made = prepared("CN=x");
  for (const char* name :
       {"DNS:a.example", "DNS:*.b-c.example", "email:j@e.example", "URI:https://x/", "IP:192.0.2.1",
        "IP:2001:db8::1", "IP:::", "IP:1:2:3:4:5:6:7:8"}) {
    EXPECT_EQ(velmora_certificate_add_alternative_name(made.get(), name), kOk) << name;
  }
  ASSERT_EQ(velmora_certificate_sign(made.get(), key.get(), nullptr), kOk);
  const std::string der = bytesOf(made->table->GetEncoding(made.get()));
  for (const char* hex :
       {"8209612e6578616d706c65", "820d2a2e622d632e6578616d706c65", "810b6a40652e6578616d706c65",
        "860a68747470733a2f2f782f", "8704c0000201", "871020010db8000000000000000000000001",
        "871000000000000000000000000000000000", "871000010002000300040005000600070008"}) {
    EXPECT_NE(der.find(fromHex(hex)), std::string::npos) << hex;
  }
}

TEST_F(IssueTest, MalformedAlternativeNamesAreRefused) {
  struct Case {
    std::initializer_list<const char*> names;
    const char* reason;
  };
  const OwnedCertificate made = prepared("CN=x");
  for (const Case& each :
       {Case{{"", "a.example", "DNS", "dns:a"},
             "an alternative name begins with DNS:, email:, URI: or IP:"},
        Case{{"DNS:", "DNS:a..b", "DNS:-a", "DNS:a-", "DNS:a b", "DNS:ä", "DNS:a.*", "DNS:a."},
             "behind DNS: stands no host name"},
        Case{{"email:", "email:x", "email:@b", "email:a@", "email:a@b@c", "email:ä@b"},
             "behind email: stands no mail address"},
        Case{{"URI:x", "URI::", "URI:a:", "URI:a:b c", "URI:a b:c", "URI:ä:b"},
             "behind URI: stands no address with a scheme"},
        Case{{"IP:1.2.3", "IP:1.2.3.4.5", "IP:1.2.3.256", "IP:1:2", "IP:1::2::3",
              "IP:12345::", "IP:1:2:3:4:5:6:7:8::", "IP:1:2:3:4:5:6:7:", "IP:1:2:3:4:5:6:7:8:9",
              "IP:", "IP:1.2.3.", "IP:a.2.3.4"},
             "behind IP: stands no IPv4 or IPv6 address"}}) {
    for (const char* const name : each.names) {
      EXPECT_EQ(velmora_certificate_add_alternative_name(made.get(), name), kInvalidArgument)
          << name;
      EXPECT_STREQ(velmora_certificate_reason(made.get()), each.reason) << name;
    }
  }
}

TEST_F(IssueTest, HostNamesHave253CharactersInLabelsOf63) {
  const OwnedCertificate made = prepared("CN=x");
  const auto isTaken = [&made](const std::string& name) {
    return velmora_certificate_add_alternative_name(made.get(), ("DNS:" + name).c_str()) == kOk;
  };
  const std::string label(63, 'a');
  const std::string three = label + "." + label + "." + label + ".";
  EXPECT_TRUE(isTaken(label));
  EXPECT_FALSE(isTaken(label + "a"));
  EXPECT_TRUE(isTaken(three + std::string(61, 'a')));
  EXPECT_FALSE(isTaken(three + std::string(62, 'a')));
}

TEST_F(IssueTest, AddressesOfSixteenBytesMayHaveAGapOfOneGroup) {
  const OwnedCertificate made = prepared("CN=x");
  EXPECT_EQ(velmora_certificate_add_alternative_name(made.get(), "IP:1:2:3:4:5:6:7::"), kOk);
  EXPECT_EQ(velmora_certificate_add_alternative_name(made.get(), "IP:::1"), kOk);
  EXPECT_EQ(velmora_certificate_add_alternative_name(made.get(), "IP:255.255.255.255"), kOk);
}

// Through 2049 as UTCTime, from 2050 on as GeneralizedTime (RFC 5280, 4.1.2.5).
TEST_F(IssueTest, TimesHaveTheTypeOfTheirYear) {
  struct Case {
    const char* start;
    const char* end;
    const char* text;
  };
  for (const Case& each : {Case{"20491231T235959", "20500101T000000",
                                "\x17\x0d"
                                "491231235959Z"
                                "\x18\x0f"
                                "20500101000000Z"},
                           Case{"19491231T235959", "19500101T000000",
                                "\x18\x0f"
                                "19491231235959Z"
                                "\x17\x0d"
                                "500101000000Z"}}) {
    const OwnedCertificate made = prepared("CN=x");
    ASSERT_EQ(velmora_certificate_set_validity(made.get(), each.start, each.end), kOk);
    ASSERT_EQ(velmora_certificate_sign(made.get(), key.get(), nullptr), kOk);
    EXPECT_NE(bytesOf(made->table->GetEncoding(made.get())).find(each.text), std::string::npos);
    EXPECT_STREQ(static_cast<const char*>(made->table->GetValueA(made.get())), each.start);
    EXPECT_STREQ(static_cast<const char*>(made->table->GetValueB(made.get())), each.end);
  }
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
