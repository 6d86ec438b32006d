#include <algorithm>
#include <functional>
#include <set>
#include <string>

#include "runtime/certificates/builder_fixture.h"
#include "runtime/certificates/certificate_maker.h"

// What stands in a built certificate, bit by bit.
namespace vexa::test {
namespace {

class BuilderEncoding : public BuilderTest {
 protected:
  // Everything that signing needs but a key.
  static OwnedCertificate prepared() { return draft("CN=x"); }

  // The hexadecimal digits of the whole, with the own key.
  std::string signedHex(const OwnedCertificate& made) {
    EXPECT_EQ(velmora_certificate_set_public_key(made.get(), &key->publicKey), kOk);
    EXPECT_EQ(velmora_certificate_sign(made.get(), key.get(), nullptr), kOk);
    const runtime::ByteBuffer* const der = made->table->GetEncoding(made.get());
    return der == nullptr ? "" : toHex(der->data, der->length);
  }

  // Whether a certificate whose key has a modulus of so many bytes, all ones, passes for one that
  // signed itself; the signature is another key's.
  bool seemsSelfSigned(size_t modulusBytes) {
    const OwnedCertificate issuer = prepared();
    EXPECT_EQ(velmora_certificate_set_basic_constraints(issuer.get(), 1, -1), kOk);
    EXPECT_NE(signedHex(issuer), "");
    const OwnedCertificate made = prepared();
    const auto lengthOf = [](size_t length) {
      return std::string{'\x82', static_cast<char>(length >> 8), static_cast<char>(length & 0xFF)};
    };
    const std::string modulus = '\0' + std::string(modulusBytes, '\xFF');
    const std::string numbers =
        "\x02" + lengthOf(modulus.size()) + modulus + "\x02\x03\x01" + std::string("\0\1", 2);
    std::string der = "\x30" + lengthOf(numbers.size()) + numbers;
    runtime::PublicKey large = key->publicKey;
    large.bitLength = 8 * der.size();
    large.bytes = reinterpret_cast<uint8_t*>(der.data());
    EXPECT_EQ(velmora_certificate_set_public_key(made.get(), &large), kOk);
    EXPECT_EQ(velmora_certificate_sign(made.get(), key.get(), issuer.get()), kOk);
    return made->table->IsSelfSigned(made.get()) != 0;
  }
};

// A named bit list ends with its last flag (X.690, 11.2.2).
TEST_F(BuilderEncoding, EachFlagOfKeyUsageIsTheLastBitOfItsList) {
  constexpr const char* kBits[] = {"03020780", "03020640", "03020520", "03020410",  "03020308",
                                   "03020204", "03020102", "03020001", "0303070080"};
  for (size_t i = 0; i < std::size(kBits); ++i) {
    const OwnedCertificate made = prepared();
    uint8_t flags[runtime::kKeyUsageFlags] = {};
    flags[i] = 1;
    ASSERT_EQ(made->table->SetKeyUsage(made.get(), flags, 0), kOk);
    const std::string length = i == 8 ? "05" : "04";
    EXPECT_NE(signedHex(made).find("0603551d0f04" + length + kBits[i]), std::string::npos) << i;
  }
}

TEST_F(BuilderEncoding, NoFlagIsAnEmptyList) {
  const OwnedCertificate made = prepared();
  const uint8_t none[runtime::kKeyUsageFlags] = {};
  ASSERT_EQ(made->table->SetKeyUsage(made.get(), none, 0), kOk);
  EXPECT_NE(signedHex(made).find("0603551d0f0403030100"), std::string::npos);
}

TEST_F(BuilderEncoding, ADuplicateHasTheCallsOfItsSetters) {
  const OwnedCertificate made = prepared();
  int word = 0;
  EXPECT_EQ(made->table->SetExtensionB(made.get(), &word, nullptr), kOk);
  EXPECT_EQ(made->table->SetPairSecond(made.get(), &word), kOk);
  OwnedCertificate copy;
  ASSERT_EQ(made->table->header.Duplicate(reinterpret_cast<runtime::Object*>(made.get()),
                                          reinterpret_cast<void**>(copy.put())),
            kOk);
  VelmoraSetterCall call{};
  EXPECT_EQ(velmora_certificate_setter_call(copy.get(), 0, &call), kOk);
  EXPECT_EQ(call.slot, 56u);
  EXPECT_EQ(call.words[0], &word);
  EXPECT_EQ(velmora_certificate_setter_call(copy.get(), 1, &call), kOk);
  EXPECT_EQ(call.slot, 61u);
  EXPECT_EQ(velmora_certificate_setter_call(copy.get(), 2, &call), kInvalidArgument);
}

TEST_F(BuilderEncoding, ADuplicateHasEverythingThatItsSourceHas) {
  const OwnedCertificate made = prepared();
  const uint8_t flags[runtime::kKeyUsageFlags] = {0, 0, 0, 0, 0, 1, 1};
  const uint8_t serial[] = {1, 2, 3};
  EXPECT_EQ(velmora_certificate_set_issuer(made.get(), "CN=x"), kOk);
  EXPECT_EQ(velmora_certificate_set_serial(made.get(), serial, sizeof(serial)), kOk);
  EXPECT_EQ(made->table->SetKeyUsage(made.get(), flags, 1), kOk);
  EXPECT_EQ(velmora_certificate_set_basic_constraints(made.get(), 1, 3), kOk);
  EXPECT_EQ(velmora_certificate_add_extended_key_usage(made.get(), "serverAuth"), kOk);
  EXPECT_EQ(velmora_certificate_add_extended_key_usage(made.get(), "1.2.3"), kOk);
  EXPECT_EQ(velmora_certificate_add_alternative_name(made.get(), "DNS:a.example"), kOk);
  EXPECT_EQ(velmora_certificate_set_public_key(made.get(), &key->publicKey), kOk);
  OwnedCertificate copy;
  ASSERT_EQ(made->table->header.Duplicate(reinterpret_cast<runtime::Object*>(made.get()),
                                          reinterpret_cast<void**>(copy.put())),
            kOk);
  EXPECT_EQ(velmora_certificate_sign(copy.get(), key.get(), nullptr), kOk);
  EXPECT_EQ(toHex(copy->table->GetEncoding(copy.get())->data,
                  copy->table->GetEncoding(copy.get())->length),
            signedHex(made));
}

TEST_F(BuilderEncoding, WhatMustBeUnderstoodIsMarkedSo) {
  const OwnedCertificate authority = prepared();
  EXPECT_EQ(velmora_certificate_set_basic_constraints(authority.get(), 1, -1), kOk);
  const std::string authorityHex = signedHex(authority);
  EXPECT_NE(authorityHex.find("0603551d130101ff04"), std::string::npos) << "basic constraints";
  EXPECT_NE(authorityHex.find("0603551d0f0101ff04"), std::string::npos) << "key usage";
  for (const bool hasSubject : {false, true}) {
    const OwnedCertificate made = prepared();
    EXPECT_EQ(velmora_certificate_set_subject(made.get(), hasSubject ? "CN=x" : ""), kOk);
    EXPECT_EQ(velmora_certificate_add_alternative_name(made.get(), "DNS:a.example"), kOk);
    const std::string hex = signedHex(made);
    EXPECT_EQ(hex.find("0603551d110101ff04") != std::string::npos, !hasSubject)
        << "alternative names, where they are the only ones";
    EXPECT_NE(hex.find("0603551d11"), std::string::npos);
  }
}

TEST_F(BuilderEncoding, ALengthOfPathIsTakenBack) {
  const OwnedCertificate made = prepared();
  EXPECT_EQ(velmora_certificate_set_basic_constraints(made.get(), 1, 2), kOk);
  EXPECT_EQ(velmora_certificate_set_basic_constraints(made.get(), 1, -1), kOk);
  EXPECT_NE(signedHex(made).find("0603551d130101ff040530030101ff"), std::string::npos);
}

TEST_F(BuilderEncoding, OnlyAnIssuerThatIsKnownHasAKeyIdentifier) {
  EXPECT_NE(signedHex(prepared()).find("0603551d23"), std::string::npos) << "its own";
  const OwnedCertificate made = prepared();
  EXPECT_EQ(velmora_certificate_set_issuer(made.get(), "CN=Somebody"), kOk);
  const std::string hex = signedHex(made);
  EXPECT_EQ(hex.find("0603551d23"), std::string::npos);
  EXPECT_NE(hex.find("0603551d0e"), std::string::npos) << "the subject's";
}

// RFC 5280, 4.2.1.1: as the issuer's certificate names its key, whatever that is; where it does not
// name it, as we would.
TEST_F(BuilderEncoding, AnIssuersKeyIsIdentifiedAsItsCertificateDoes) {
  const std::string authority =
      element("30", fromHex("0603551d13") + element("04", fromHex("30030101ff")));
  const std::string named =
      element("30", fromHex("0603551d0e") + element("04", fromHex("040401020304")));
  const std::string point(reinterpret_cast<const char*>(key->publicKey.bytes),
                          key->publicKey.bitLength / 8);
  CertificateFields fields;
  fields.subject = fromHex("300c310a300806035504030c0178");
  fields.key = element("30", fromHex("300d06092a864886f70d0101010500") +
                                 element("03", std::string(1, '\0') + point));
  for (const bool isNamed : {false, true}) {
    fields.extensions = element("a3", element("30", authority + (isNamed ? named : "")));
    const OwnedCertificate issuer = certificate(fields.certificate());
    const OwnedCertificate made = prepared();
    EXPECT_EQ(velmora_certificate_set_public_key(made.get(), &key->publicKey), kOk);
    ASSERT_EQ(velmora_certificate_sign(made.get(), key.get(), issuer.get()), kOk);
    const std::string hex = toHex(made->table->GetEncoding(made.get())->data,
                                  made->table->GetEncoding(made.get())->length);
    const size_t own = hex.find("0603551d0e04160414");
    ASSERT_NE(own, std::string::npos);
    const std::string expected = isNamed ? "040830068004"
                                           "01020304"
                                         : "041830168014" + hex.substr(own + 18, 40);
    EXPECT_NE(hex.find("0603551d23" + expected), std::string::npos) << isNamed;
    EXPECT_NE(hex.find("300c310a300806035504030c0178"), std::string::npos) << "its name";
  }
}

TEST_F(BuilderEncoding, AnIssuerHasAName) {
  CertificateFields fields;
  fields.extensions = extension(fromHex("0603551d13") + element("04", fromHex("30030101ff")));
  const OwnedCertificate nameless = certificate(fields.certificate());
  const OwnedCertificate made = prepared();
  EXPECT_EQ(velmora_certificate_set_public_key(made.get(), &key->publicKey), kOk);
  EXPECT_EQ(velmora_certificate_sign(made.get(), key.get(), nameless.get()), kInvalidArgument);
  EXPECT_STREQ(velmora_certificate_reason(made.get()),
               "the issuer's certificate is not signed or has no name");
}

// RFC 5280, 4.1.2.2: positive, and enough chance that none comes twice.
// 126 bits of them are drawn.
TEST_F(BuilderEncoding, SerialNumbersArePositiveAndDiffer) {
  std::set<std::string> serials;
  std::string ever(16, '\0');
  std::string always(16, '\xFF');
  for (int i = 0; i < 32; ++i) {
    const std::string hex = signedHex(prepared());
    const size_t version = hex.find("a003020102");
    ASSERT_NE(version, std::string::npos);
    ASSERT_EQ(hex.substr(version + 10, 2), "02");
    const size_t length = std::stoul(hex.substr(version + 12, 2), nullptr, 16);
    ASSERT_EQ(length, 16u);
    const std::string serial = fromHex(hex.substr(version + 14, 2 * length));
    std::transform(serial.begin(), serial.end(), ever.begin(), ever.begin(), std::bit_or<>());
    std::transform(serial.begin(), serial.end(), always.begin(), always.begin(), std::bit_and<>());
    serials.insert(serial);
  }
  EXPECT_EQ(serials.size(), 32u);
  EXPECT_EQ(toHex(ever.data(), 16), "7f" + std::string(30, 'f'));
  EXPECT_EQ(toHex(always.data(), 16), "40" + std::string(30, '0'));
}

// Longer ones only serve to keep us busy: nobody says then that the signature is wrong.
TEST_F(BuilderEncoding, SignaturesOfKeysUpTo16384BitsAreChecked) {
  EXPECT_FALSE(seemsSelfSigned(256));
  EXPECT_FALSE(seemsSelfSigned(2048));
  EXPECT_TRUE(seemsSelfSigned(2049));
}

TEST_F(BuilderEncoding, UniversalStringsHaveFourBytesACharacter) {
  OwnedCertificate made;
  ASSERT_EQ(velmora_certificate_create(made.put()), kOk);
  ASSERT_EQ(velmora_certificate_set_subject(made.get(), "CN=#1C0C00000041000020AC0001F600"), kOk);
  EXPECT_EQ(text(made->table->GetSubject(made.get())), "CN=A€😀");
  ASSERT_EQ(velmora_certificate_set_subject(made.get(), "CN=#1C0400110000"), kOk);
  EXPECT_EQ(text(made->table->GetSubject(made.get())), "CN=#1C0400110000") << "no character";
}

}  // namespace
}  // namespace vexa::test
