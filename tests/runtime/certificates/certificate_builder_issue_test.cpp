#include <string>

#include "runtime/certificates/builder_fixture.h"

// What is issued, what is refused, and why.
namespace vexa::test {
namespace {

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

}  // namespace
}  // namespace vexa::test
