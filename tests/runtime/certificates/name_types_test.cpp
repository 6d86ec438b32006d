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
  for (const auto& [name, number] : {std::pair("C=DE", "2.5.4.6=DE"),
                                     {"CN=x", "2.5.4.3=x"},
                                     {"DC=x", "0.9.2342.19200300.100.1.25=x"},
                                     {"serialNumber=1", "2.5.4.5=1"},
                                     {"emailAddress=a@b", "1.2.840.113549.1.9.1=a@b"}}) {
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
