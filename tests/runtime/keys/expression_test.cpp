#include "runtime/keys/expression.h"

#include <string>

#include "runtime/crypto_fixture.h"
#include "runtime/der/der_maker.h"

namespace vexa::test {
namespace {

using velmora::Bytes;
using velmora::Mpi;

class Expression : public CryptoTest {
 protected:
  static Mpi number(const std::string& bytes) {
    Mpi made;
    EXPECT_TRUE(velmora::libraryReady());
    EXPECT_EQ(gcry_mpi_scan(made.put(), GCRYMPI_FMT_USG, bytes.data(), bytes.size(), nullptr), 0u);
    return made;
  }
  static std::string textOf(const Bytes& bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
  }
};

TEST_F(Expression, NumbersAreWrittenAsIntegers) {
  for (const size_t length : {1u, 2u, 255u, 2047u, 2048u}) {
    for (const char first : {'\x01', '\x7F', '\x80', '\xFF'}) {
      const std::string bytes = first + std::string(length - 1, 'x');
      Bytes out;
      velmora::DerWriter writer(out);
      velmora::writeNumber(number(bytes).get(), writer);
      EXPECT_FALSE(out.failed());
      const bool isHigh = (first & 0x80) != 0;
      EXPECT_EQ(textOf(out), element("02", isHigh ? '\0' + bytes : bytes)) << length;
    }
  }
  Bytes out;
  velmora::DerWriter writer(out);
  velmora::writeNumber(number(std::string(2049, 'x')).get(), writer);
  EXPECT_TRUE(out.failed()) << "larger than that of any key";
}

TEST_F(Expression, NumbersAreAppendedInALengthThatIsGiven) {
  for (const size_t length : {2u, 3u, 5u}) {
    Bytes out;
    out.append(uint8_t{'<'});
    ASSERT_TRUE(velmora::appendNumber(number("ab").get(), length, out)) << length;
    EXPECT_EQ(textOf(out), "<" + std::string(length - 2, '\0') + "ab");
  }
  Bytes out;
  EXPECT_FALSE(velmora::appendNumber(number("ab").get(), 1, out));
  EXPECT_FALSE(velmora::appendNumber(number(std::string(2049, 'x')).get(), 3000, out));
  EXPECT_EQ(out.size(), 0u);
}

TEST_F(Expression, NumbersAreTakenByTheirToken) {
  ASSERT_TRUE(velmora::libraryReady());
  const velmora::Sexp key = velmora::buildExpression("(key (n #0102#) (ne #03#) (e #04#))");
  ASSERT_TRUE(key);
  const auto taken = [&key](const char* token) {
    const Mpi found = velmora::takeNumber(key.get(), token);
    Bytes out;
    return found && velmora::appendNumber(found.get(), 2, out) ? toHex(out.data(), out.size()) : "";
  };
  EXPECT_EQ(taken("n"), "0102");
  EXPECT_EQ(taken("ne"), "0003");
  EXPECT_EQ(taken("e"), "0004");
  EXPECT_EQ(taken("d"), "");
  EXPECT_EQ(taken("key"), "") << "a list and no number";
}

}  // namespace
}  // namespace vexa::test
