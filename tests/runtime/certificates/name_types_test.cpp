#include <string>
#include <utility>

#include "runtime/certificates/name.h"
#include "runtime/crypto_fixture.h"

// Which string types the values of a name may have.
namespace vexa::test {
namespace {

class NameTypes : public CryptoTest {
 protected:
  // The encoding of a name in hexadecimal digits; empty when the text is refused.
  std::string encoded(const char* name) {
    runtime::Name* made = nullptr;
    if (velmora::makeNameFromText(name, &made) != kOk) {
      return {};
    }
    const velmora::ByteView der = velmora::encodingOf(made);
    const std::string digits = toHex(der.data(), der.size());
    made->table->header.Release(reinterpret_cast<runtime::Object*>(made));
    return digits;
  }
};

TEST_F(NameTypes, ANumberMeansTheSameAsItsName) {
  constexpr std::pair<const char*, const char*> kSame[] = {
      {"CN=x", "2.5.4.3=x"},
      {"L=x", "2.5.4.7=x"},
      {"ST=x", "2.5.4.8=x"},
      {"O=x", "2.5.4.10=x"},
      {"OU=x", "2.5.4.11=x"},
      {"C=DE", "2.5.4.6=DE"},
      {"STREET=x", "2.5.4.9=x"},
      {"DC=x", "0.9.2342.19200300.100.1.25=x"},
      {"UID=x", "0.9.2342.19200300.100.1.1=x"},
      {"SN=x", "2.5.4.4=x"},
      {"serialNumber=1", "2.5.4.5=1"},
      {"title=x", "2.5.4.12=x"},
      {"givenName=x", "2.5.4.42=x"},
      {"initials=x", "2.5.4.43=x"},
      {"generationQualifier=x", "2.5.4.44=x"},
      {"dnQualifier=x", "2.5.4.46=x"},
      {"emailAddress=a@b", "1.2.840.113549.1.9.1=a@b"},
  };
  for (const auto& [name, number] : kSame) {
    EXPECT_EQ(encoded(number), encoded(name)) << name;
    EXPECT_NE(encoded(name), "") << name;
  }
}

TEST_F(NameTypes, AValueThatItsTypeDoesNotAllowIsRefusedByNumberToo) {
  for (const char* const name : {"2.5.4.6=", "2.5.4.6=Ä", "2.5.4.5=a@b*",
                                 "0.9.2342.19200300.100.1.25=ä", "1.2.840.113549.1.9.1=ä@b"}) {
    EXPECT_EQ(encoded(name), "") << name;
  }
  EXPECT_NE(encoded("1.2.3=Ä"), "") << "a type that nobody knows takes any text";
}

}  // namespace
}  // namespace vexa::test
