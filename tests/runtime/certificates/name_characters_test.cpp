#include <string>
#include <string_view>

#include "runtime/certificates/name.h"
#include "runtime/crypto_fixture.h"
#include "runtime/der/der_maker.h"
#include "support/characters.h"

// Each character in the text of a name, and each shape of its encoding.
namespace vexa::test {
namespace {

constexpr std::string_view kSpecial = "\"+,;<>\\";

class NameCharacters : public CryptoTest {
 protected:
  // The text of the name that this text makes; empty when it is refused.
  std::string readBack(const std::string& given) {
    Owned<runtime::Name> made;
    reason_ = "";
    if (velmora::makeNameFromText(given, made.put(), &reason_) != kOk) {
      return {};
    }
    return text(made.get());
  }

  const char* reason_ = "";
};

// Digits of a byte behind a backslash.
std::string inDigits(uint8_t byte) {
  constexpr char kUpper[] = "0123456789ABCDEF";
  return {'\\', kUpper[byte >> 4], kUpper[byte & 15]};
}

TEST_F(NameCharacters, AreWrittenAsTheyMustBeWhereTheyStand) {
  for (int c = 0; c <= 0xBF; ++c) {
    std::string escaped = inDigits(static_cast<uint8_t>(c));
    std::string plain(1, static_cast<char>(c));
    if (c >= 0x80) {  // two bytes of UTF-8
      escaped = "\\C2" + escaped;
      plain = "\xC2" + plain;
    }
    const bool isControl = c < 0x20 || (c >= 0x7F && c < 0xA0);
    const bool isSpecial = isIn(kSpecial, static_cast<char>(c));
    const std::string inside = isControl ? escaped : isSpecial ? "\\" + plain : plain;
    const std::string atStart = c == '#' || c == ' ' ? "\\" + plain : inside;
    const std::string atEnd = c == ' ' ? "\\" + plain : inside;
    EXPECT_EQ(readBack("CN=a" + escaped + "b"), "CN=a" + inside + "b") << c;
    EXPECT_EQ(readBack("CN=" + escaped + "b"), "CN=" + atStart + "b") << c;
    EXPECT_EQ(readBack("CN=a" + escaped), "CN=a" + atEnd) << c;
  }
}

TEST_F(NameCharacters, StandWithoutABackslashUnlessTheyAreSpecial) {
  for (int c = 1; c < 0x80; ++c) {
    const char each = static_cast<char>(c);
    EXPECT_EQ(readBack({'C', 'N', '=', 'a', each, 'z'}).empty(), isIn(kSpecial, each)) << c;
  }
}

TEST_F(NameCharacters, StandBehindABackslashWhenTheyAreSpecialOrDigits) {
  for (int c = 1; c <= 0xFF; ++c) {
    const char each = static_cast<char>(c);
    const bool mayBeEscaped = isIn(kSpecial, each) || isIn(" #=", each);
    EXPECT_EQ(readBack({'C', 'N', '=', '\\', each, 'z'}).empty(), !mayBeEscaped) << c;
    EXPECT_EQ(readBack({'C', 'N', '=', '\\', '4', each}).empty(), !isIn(kHexDigits, each)) << c;
    EXPECT_EQ(readBack({'C', 'N', '=', '#', '0', 'C', '0', '1', '4', each}).empty(),
              !isIn(kHexDigits, each))
        << c;
  }
  EXPECT_EQ(readBack("CN=\\4a\\4B\\6f\\5A"), "CN=JKoZ");
}

TEST_F(NameCharacters, OfATypeHaveNoCase) {
  EXPECT_EQ(readBack("EMAILADDRESS=a"), "emailAddress=a");
  EXPECT_EQ(readBack("emailaddress=a"), "emailAddress=a");
  EXPECT_EQ(readBack("givenname=a"), "givenName=a");
  EXPECT_EQ(readBack("street=a"), "STREET=a");
  EXPECT_EQ(readBack("c=DE"), "C=DE");
  EXPECT_EQ(readBack("C@=DE"), "");
  EXPECT_EQ(readBack("cnx=a"), "");
}

// Name = SEQUENCE OF SET SIZE (1..MAX) OF SEQUENCE { type, value }
TEST_F(NameCharacters, EncodingsHaveTheirShape) {
  const std::string type = fromHex("0603550403");
  const std::string value = fromHex("0c0178");
  const auto result = [](const std::string& encoding) {
    const ExactBytes exact(encoding);
    Owned<runtime::Name> made;
    return velmora::makeName({exact.data(), exact.size()}, made.put());
  };
  const auto ofAttribute = [&](const std::string& fields) {
    return result(element("30", element("31", element("30", fields))));
  };
  EXPECT_EQ(ofAttribute(type + value), kOk);
  EXPECT_EQ(ofAttribute(type + element("30", "")), kOk);
  for (const std::string& fields :
       {std::string(), type, value, value + type, type + value + value, fromHex("0600") + value,
        fromHex("0603550483") + value, type + fromHex("0c02")}) {
    EXPECT_EQ(ofAttribute(fields), kFail) << toHex(fields.data(), fields.size());
  }
  const std::string attribute = element("30", type + value);
  EXPECT_EQ(result(element("30", element("31", attribute + attribute))), kOk);
  EXPECT_EQ(result(element("30", "")), kOk) << "a name without parts";
  for (const std::string& encoding :
       {std::string(), element("31", element("31", attribute)),
        element("30", element("30", attribute)), element("30", element("31", "")),
        element("30", element("31", type + value)),
        element("30", element("31", attribute + element("30", ""))),
        element("30", element("31", attribute) + fromHex("3100")),
        element("30", element("31", attribute)) + fromHex("0500")}) {
    EXPECT_EQ(result(encoding), kFail) << toHex(encoding.data(), encoding.size());
  }
}

// The first value of the type that is a text.
TEST_F(NameCharacters, AnAttributeThatIsNoTextIsPassedOver) {
  Owned<runtime::Name> made;
  ASSERT_EQ(velmora::makeNameFromText("OU=x,CN=#020105,CN=b,CN=c", made.put()), kOk);
  EXPECT_EQ(attribute(made.get(), "CN"), "b");
  EXPECT_EQ(attribute(made.get(), "O"), "");
}

}  // namespace
}  // namespace vexa::test
