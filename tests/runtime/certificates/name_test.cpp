#include "runtime/certificates/name.h"

#include "runtime/crypto_fixture.h"
#include "runtime/der/der_maker.h"
#include "runtime/samples.h"
#include "runtime/views.h"
#include "support/characters.h"
#include "support/sweep.h"

namespace vexa::test {
namespace {

class ObjectIdTest : public CryptoTest {};

TEST_F(ObjectIdTest, IdentifiersAreEqualByValue) {
  Owned<runtime::ObjectId> a, b, c;
  ASSERT_EQ(types.ObjectIdFromText("1.3.6.1.5.5.7.3.2", a.put()), kOk);
  ASSERT_EQ(types.ObjectIdFromText("1.3.6.1.5.5.7.3.2", b.put()), kOk);
  ASSERT_EQ(types.ObjectIdFromText("1.3.6.1.5.5.7.3.3", c.put()), kOk);
  EXPECT_EQ(types.ObjectIdCompare(a.get(), b.get()), 0);
  EXPECT_NE(types.ObjectIdCompare(a.get(), c.get()), 0);
  EXPECT_NE(types.ObjectIdCompare(nullptr, a.get()), 0);
  EXPECT_NE(types.ObjectIdCompare(nullptr, nullptr), 0);
}

TEST_F(ObjectIdTest, MalformedTextIsRefusedAndLeavesNull) {
  for (const char* text :
       {"", "1", "1.", ".1", "1..2", "3.1", "1.40", "1.02", "1.2x", "1.2.18446744073709551616"}) {
    runtime::ObjectId* out = reinterpret_cast<runtime::ObjectId*>(this);
    EXPECT_EQ(types.ObjectIdFromText(text, &out), kInvalidArgument) << text;
    EXPECT_EQ(out, nullptr);
  }
}

TEST_F(ObjectIdTest, TextAndEncodingLeadToEachOther) {
  for (const char* text : {"0.0", "1.39", "2.5.29.15", "2.999.3", "1.2.840.113549.1.1.11",
                           "2.25.18446744073709551535"}) {
    Owned<runtime::ObjectId> identifier;
    ASSERT_EQ(types.ObjectIdFromText(text, identifier.put()), kOk) << text;
    velmora::Bytes back;
    EXPECT_TRUE(velmora::appendObjectIdText(velmora::contentOf(identifier.get()), back));
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(back.data()), back.size()), text);
  }
}

TEST_F(ObjectIdTest, ADuplicateIsTheSameObject) {
  Owned<runtime::ObjectId> identifier;
  ASSERT_EQ(types.ObjectIdFromText("2.5.4.3", identifier.put()), kOk);
  void* copy = nullptr;
  auto* const object = reinterpret_cast<runtime::Object*>(identifier.get());
  ASSERT_EQ(types.typeOperations->Duplicate(object, &copy), kOk);
  EXPECT_EQ(copy, identifier.get());
  EXPECT_EQ(object->table->Release(object), 1u);
  EXPECT_STREQ(object->table->GetTypeName(object), "ObjectId");
}

class NameTest : public CryptoTest {
 protected:
  Owned<runtime::Name> name(std::string_view text) {
    Owned<runtime::Name> made;
    EXPECT_EQ(velmora::makeNameFromText(text, made.put()), kOk) << text;
    return made;
  }
  // A name of one attribute, given as the DER of its value.
  Owned<runtime::Name> nameOfValue(const std::string& typeHex, const std::string& valueHex) {
    const auto wrap = [](const char* tag, const std::string& content) {
      const auto length = static_cast<uint8_t>(content.size());
      return fromHex(tag) + static_cast<char>(length) + content;
    };
    const std::string attribute = wrap("30", fromHex(typeHex) + fromHex(valueHex));
    const ExactBytes encoding(wrap("30", wrap("31", attribute)));
    Owned<runtime::Name> made;
    EXPECT_EQ(velmora::makeName({encoding.data(), encoding.size()}, made.put()), kOk);
    return made;
  }
};

constexpr char kCommonName[] = "0603550403";

TEST_F(NameTest, TextHasTheLastNameFirstAndEscapesWhatItMust) {
  const OwnedCertificate leaf = certificate(samples::kLeaf);
  EXPECT_EQ(text(leaf->table->GetIssuer(leaf.get())), "CN=Orlind Test Root,O=Orlind,C=DE");
  EXPECT_EQ(text(leaf->table->GetSubject(leaf.get())),
            "CN=\\ Jane #1\\ ,OU=a+emailAddress=jane@example.org,"
            "O=Köln\\, \\\"Dom\\\" \\+ Söhne,DC=example");
}

TEST_F(NameTest, AttributesComeUnescaped) {
  const OwnedCertificate leaf = certificate(samples::kLeaf);
  runtime::Name* const subject = leaf->table->GetSubject(leaf.get());
  EXPECT_EQ(attribute(subject, "CN"), " Jane #1 ");
  EXPECT_EQ(attribute(subject, "cn"), " Jane #1 ");
  EXPECT_EQ(attribute(subject, "O"), "Köln, \"Dom\" + Söhne");
  EXPECT_EQ(attribute(subject, "C"), "");
  EXPECT_EQ(attribute(subject, "no such type"), "");
}

TEST_F(NameTest, TheCommonNameIsTheFirstOneOfTheText) {
  EXPECT_EQ(attribute(name("CN=front,CN=back").get(), "CN"), "front");
}

TEST_F(NameTest, StringTypesBecomeUtf8) {
  EXPECT_EQ(text(nameOfValue(kCommonName, "1e04d83dde00").get()), "CN=😀");
  EXPECT_EQ(text(nameOfValue(kCommonName, "1c040001f600").get()), "CN=😀");
  EXPECT_EQ(text(nameOfValue(kCommonName, "1402f6e4").get()), "CN=öä");
  EXPECT_EQ(text(nameOfValue(kCommonName, "13024142").get()), "CN=AB");
  EXPECT_EQ(text(nameOfValue(kCommonName, "0c03006162").get()), "CN=\\00ab");
}

TEST_F(NameTest, ValuesThatAreNoTextAndUnknownTypesAreWrittenInHexadecimal) {
  EXPECT_EQ(text(nameOfValue(kCommonName, "0c02c328").get()), "CN=#0C02C328");
  EXPECT_EQ(text(nameOfValue(kCommonName, "1e0141").get()), "CN=#1E0141");
  EXPECT_EQ(text(nameOfValue(kCommonName, "020105").get()), "CN=#020105");
  EXPECT_EQ(text(nameOfValue("06032a0304", "0c0141").get()), "1.2.3.4=#0C0141");
  EXPECT_EQ(attribute(nameOfValue(kCommonName, "0c02c328").get(), "CN"), "");
}

TEST_F(NameTest, PrintableStringsTakeTheirCharactersAlone) {
  for (int c = 0; c <= 0xFF; ++c) {
    const char byte = static_cast<char>(c);
    const std::string escaped = "\\" + toHex(&byte, 1);
    const auto isMade = [](const std::string& text) {
      Owned<runtime::Name> made;
      return velmora::makeNameFromText(text, made.put()) == kOk;
    };
    EXPECT_EQ(isMade("serialNumber=x" + escaped),
              isLetterOrDigit(byte) || isIn(" '()+,-./:=?", byte))
        << c;
    EXPECT_EQ(isMade("emailAddress=x" + escaped), c < 0x80) << c;
    EXPECT_EQ(isMade("C=D" + escaped), isIn(kLetters, byte)) << c;
    EXPECT_EQ(isMade("C=" + escaped + "E"), isIn(kLetters, byte)) << c;
  }
}

TEST_F(NameTest, WhatIsNotUtf8IsRefusedWhateverAllocationFails) {
  for (const char* text : {"CN=\\FF", "CN=a\\C3", "CN=\\EF\\BF", "CN=\\ED\\A0\\80"}) {
    for (uint64_t n = 1; n < 20; ++n) {
      Owned<runtime::Name> made;
      allocation_gate::failAt(n, false);
      const int32_t result = velmora::makeNameFromText(text, made.put());
      allocation_gate::neverFail();
      EXPECT_TRUE(result == kInvalidArgument || result == kOutOfMemory) << text;
      EXPECT_EQ(made.get(), nullptr);
    }
  }
  EXPECT_EQ(text(name("CN=\\EF\\BF\\BD").get()), "CN=\uFFFD") << "what invalid text becomes";
}

TEST_F(NameTest, TextLeadsToANameWithTheSameText) {
  for (const char* each : {"CN=a", "CN=Jane,O=Orlind,C=DE", "CN=b+OU=a,DC=x", "CN=\\#x\\ ",
                           "CN=a\\,b\\+c\\\"d\\\\e\\<f\\>g\\;h", "CN=Jürgen", "1.2.3.4=#0C0141",
                           "CN=#020105", "CN=#3000", "CN=#3100"}) {
    EXPECT_EQ(text(name(each).get()), each);
  }
}

TEST_F(NameTest, BytesMayBeEscapedInHexadecimal) {
  EXPECT_EQ(text(name("CN=K\\C3\\b6ln\\2C x").get()), "CN=Köln\\, x");
}

TEST_F(NameTest, MalformedTextIsRefused) {
  for (const char* each : {"CN", "=x", "XX=y", "CN=a,", ",CN=a", "CN=a;b", "CN=\\", "CN=\\zz",
                           "CN=#0", "CN=#0C", "CN=#0C0141ff", "1.=x", "CN=a\"b"}) {
    runtime::Name* out = nullptr;
    EXPECT_EQ(velmora::makeNameFromText(each, &out), kInvalidArgument) << each;
  }
}

struct Refusal {
  const char* text;
  const char* reason;
};

TEST_F(NameTest, ValuesThatTheirTypeDoesNotAllowAreRefusedAndSayWhy) {
  for (const Refusal& each : {
           Refusal{"CN=\\FF", "a value is not UTF-8"},
           Refusal{"1.2.3.4=\\C3", "a value is not UTF-8"},
           Refusal{"C=Ä", "C takes a country code of two letters"},
           Refusal{"C=DEU", "C takes a country code of two letters"},
           Refusal{"C=D1", "C takes a country code of two letters"},
           Refusal{"C=", "C takes a country code of two letters"},
           Refusal{"serialNumber=a@b*",
                   "C, serialNumber and dnQualifier take letters, digits, blanks and "
                   "' ( ) + , - . / : = ? alone"},
           Refusal{"dnQualifier=ä",
                   "C, serialNumber and dnQualifier take letters, digits, blanks and "
                   "' ( ) + , - . / : = ? alone"},
           Refusal{"DC=ä", "DC and emailAddress take ASCII alone"},
           Refusal{"emailAddress=ä@b", "DC and emailAddress take ASCII alone"},
           Refusal{"CN=a+CN=b", "a type stands twice between two commas"},
           Refusal{"CN=a+O=x+1.2.3.4=b+2.5.4.3=c", "a type stands twice between two commas"},
           Refusal{"CN", "a part has no \"=\""},
           Refusal{"XX=y", "a type is neither known by name nor an object identifier"},
           Refusal{"CN=#0C", "behind \"#\" stands something that is not the DER of one value"},
           Refusal{"CN=#2C00", "behind \"#\" stands a value in pieces, which is not DER"},
           Refusal{"CN=#24020400", "behind \"#\" stands a value in pieces, which is not DER"},
           Refusal{"CN=#0C02C328",
                   "behind \"#\" stands a text with bytes that its type does not have"},
           Refusal{"CN=#13012A",
                   "behind \"#\" stands a text with bytes that its type does not have"},
           Refusal{"DC=#1601E4",
                   "behind \"#\" stands a text with bytes that its type does not have"},
           Refusal{"CN=\\zz",
                   "a backslash stands before neither a special character nor two digits"},
           Refusal{"CN=a,", "a part has no \"=\""},
           Refusal{"CN=a\"b", "a special character stands without its backslash"},
           Refusal{"CN=#0C0141,C=D;E", "a special character stands without its backslash"},
           Refusal{"CN=#0C0141x", "a special character stands without its backslash"},
           Refusal{"CN=a;b", "a special character stands without its backslash"},
       }) {
    runtime::Name* out = nullptr;
    const char* reason = "";
    EXPECT_EQ(velmora::makeNameFromText(each.text, &out, &reason), kInvalidArgument) << each.text;
    EXPECT_STREQ(reason, each.reason) << each.text;
  }
}

TEST_F(NameTest, AValueHasAtLeastOneCharacter) {
  for (const char* each : {"CN=", "O=x,CN=", "CN=+O=x", "DC=", "1.2.3.4="}) {
    runtime::Name* out = nullptr;
    const char* reason = "";
    EXPECT_EQ(velmora::makeNameFromText(each, &out, &reason), kInvalidArgument) << each;
    EXPECT_STREQ(reason, "a value is empty") << each;
  }
  // Where it is asked for in so many words, and in what others wrote.
  EXPECT_EQ(text(name("CN=#0C00").get()), "CN=");
}

TEST_F(NameTest, AValueHasNoMoreCharactersThanItsAttributeAllows) {
  for (const auto& [type, longest] : {std::pair<const char*, size_t>{"CN", 64},
                                      {"L", 128},
                                      {"ST", 128},
                                      {"O", 64},
                                      {"OU", 64},
                                      {"STREET", 128},
                                      {"UID", 256},
                                      {"SN", 32768},
                                      {"serialNumber", 64},
                                      {"title", 64},
                                      {"givenName", 32768},
                                      {"initials", 32768},
                                      {"generationQualifier", 32768},
                                      {"emailAddress", 255}}) {
    const std::string most = std::string(type) + "=" + std::string(longest, 'a');
    EXPECT_EQ(text(name(most).get()), most) << type;
    runtime::Name* out = nullptr;
    const char* reason = "";
    EXPECT_EQ(velmora::makeNameFromText(most + "a", &out, &reason), kInvalidArgument) << type;
    EXPECT_STREQ(reason,
                 "a value is too long: CN, O, OU, title and serialNumber take 64 characters, L, ST "
                 "and STREET 128, emailAddress 255, UID 256, others 32768")
        << type;
  }
  std::string umlauts;
  for (size_t i = 0; i < 64; ++i) {
    umlauts += "ä";
  }
  EXPECT_EQ(text(name("CN=" + umlauts).get()), "CN=" + umlauts);
  for (const char* unbounded : {"DC", "dnQualifier", "1.2.3.4"}) {
    name(std::string(unbounded) + "=" + std::string(40000, 'a'));
  }
}

TEST_F(NameTest, ValuesBecomeTheStringTypeOfTheirAttribute) {
  for (const auto& [of, hex] : {std::pair<const char*, const char*>{"C=DE", "13024445"},
                                {"serialNumber=a 1'()\\+\\,-./:=?", "130e"},
                                {"DC=a@b", "1603614062"},
                                {"emailAddress=a@b", "1603614062"},
                                {"O=ä", "0c02c3a4"},
                                {"1.2.3.4=a", "0c0161"}}) {
    const Owned<runtime::Name> made = name(of);
    const velmora::ByteView encoding = velmora::encodingOf(made.get());
    EXPECT_NE(toHex(encoding.data(), encoding.size()).find(hex), std::string::npos) << of;
  }
}

// A SET OF in DER: in the order of the encodings, whatever the order of the text.
TEST_F(NameTest, AttributesOfOneRelativeNameAreSorted) {
  const Owned<runtime::Name> one = name("O=X+CN=Y+L=Zz");
  const Owned<runtime::Name> other = name("L=Zz+O=X+CN=Y");
  EXPECT_EQ(types.NameCompare(one.get(), other.get()), 0);
  EXPECT_EQ(text(one.get()), "CN=Y+O=X+L=Zz");  // the shorter ones come first
}

TEST_F(NameTest, ManyAttributesOfOneRelativeNameAreSorted) {
  std::string rising;
  std::string falling;
  for (int i = 0; i < 1000; ++i) {
    const std::string attribute = "1.2." + std::to_string(i) + "=" + std::to_string(i % 7);
    rising += (i == 0 ? "" : "+") + attribute;
    falling = attribute + (i == 0 ? "" : "+") + falling;
  }
  const Owned<runtime::Name> one = name(rising.c_str());
  const Owned<runtime::Name> other = name(falling.c_str());
  EXPECT_EQ(types.NameCompare(one.get(), other.get()), 0);
  const std::string sorted = text(one.get());
  EXPECT_EQ(sorted.substr(0, 27), "1.2.0=#0C0130+1.2.1=#0C0131");
  EXPECT_EQ(sorted.substr(sorted.rfind('+')), "+1.2.999=#0C0135");
}

TEST_F(NameTest, ControlCharactersAreEscaped) {
  EXPECT_EQ(text(name("CN=a\\0Ab\\1B[2J\\7F\\C2\\9B\\C2\\A0").get()),
            "CN=a\\0Ab\\1B[2J\\7F\\C2\\9B\u00A0");
  EXPECT_EQ(attribute(name("CN=a\\0Ab").get(), "CN"), "a\nb");
}

TEST_F(NameTest, ThereIsALimitOfParts) {
  std::string most = "CN=x";
  for (size_t i = 1; i < velmora::kMaxRelativeNames; ++i) {
    most += ",CN=x";
  }
  EXPECT_EQ(text(name(most).get()), most);
  runtime::Name* out = nullptr;
  const char* reason = "";
  EXPECT_EQ(velmora::makeNameFromText(most + ",CN=x", &out, &reason), kInvalidArgument);
  EXPECT_STREQ(reason, "the name has too many parts");
  // The same in an encoding, which is one longer.
  const std::string part = fromHex(
      "310a3008060355040313"
      "0178");
  std::string parts;
  for (size_t i = 0; i <= velmora::kMaxRelativeNames; ++i) {
    parts += part;
  }
  const std::string tooMany = element("30", parts);
  EXPECT_EQ(velmora::makeName(viewOf(tooMany), &out), kFail);
  const std::string allowed = element("30", parts.substr(part.size()));
  Owned<runtime::Name> longest;
  EXPECT_EQ(velmora::makeName(viewOf(allowed), longest.put()), kOk);
}

TEST_F(NameTest, NamesAreEqualByEncoding) {
  EXPECT_EQ(types.NameCompare(name("CN=a").get(), name("CN=a").get()), 0);
  EXPECT_NE(types.NameCompare(name("CN=a").get(), name("CN=A").get()), 0);
  EXPECT_NE(types.NameCompare(nameOfValue(kCommonName, "0c0141").get(),
                              nameOfValue(kCommonName, "130141").get()),
            0);
  EXPECT_NE(types.NameCompare(nullptr, nullptr), 0);
  EXPECT_NE(types.NameCompare(name("CN=a").get(), nullptr), 0);
}

TEST_F(NameTest, ANullNameGivesAnEmptyString) { EXPECT_EQ(text(nullptr), ""); }

TEST_F(NameTest, ANameOutlivesItsCertificate) {
  OwnedCertificate leaf = certificate(samples::kLeaf);
  auto* const subject = reinterpret_cast<runtime::Object*>(leaf->table->GetSubject(leaf.get()));
  void* copy = nullptr;
  ASSERT_EQ(types.typeOperations->Duplicate(subject, &copy), kOk);
  leaf.reset();
  Owned<runtime::Name> kept;
  *kept.put() = static_cast<runtime::Name*>(copy);
  EXPECT_EQ(attribute(kept.get(), "DC"), "example");
}

TEST_F(NameTest, EveryFailedAllocationIsSurvived) {
  const OwnedCertificate leaf = certificate(samples::kLeaf);
  const int swept = sweepAllocations(spy, [&] {
    runtime::StringObject string{};
    runtime::Name* const subject = leaf->table->GetSubject(leaf.get());
    const int32_t copied = types.StringCopy(&string, subject);
    const bool right =
        copied == kOk && std::string_view(string.text, string.length).starts_with("CN=\\ Jane");
    EXPECT_TRUE(right || copied == kOutOfMemory);
    const int32_t got = subject->table->GetAttribute(subject, "CN", &string);
    EXPECT_TRUE(got == kOutOfMemory || std::string_view(string.text, string.length) == " Jane #1 ");
    spy.strings.Clear(&string);
    return right && got == kOk;
  });
  EXPECT_GT(swept, 5);
}

}  // namespace
}  // namespace vexa::test
