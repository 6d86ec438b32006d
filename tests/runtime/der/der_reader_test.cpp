#include "runtime/der/der_reader.h"

#include "runtime/crypto_fixture.h"
#include "runtime/der/der_writer.h"
#include "runtime/views.h"

namespace vexa::test {
namespace {

using velmora::Bytes;
using velmora::DerReader;

class DerReaderTest : public RuntimeTest {};

struct RefusedCase {
  const char* name;
  const char* hex;
};
void PrintTo(const RefusedCase& value, std::ostream* out) { *out << value.name; }

class DerRefusal : public RuntimeTest, public ::testing::WithParamInterface<RefusedCase> {};

TEST_P(DerRefusal, TakesNothing) {
  const ExactBytes input(fromHex(GetParam().hex));
  EXPECT_FALSE(DerReader(viewOf(input)).takeAny());
}

INSTANTIATE_TEST_SUITE_P(All, DerRefusal,
                         ::testing::Values(RefusedCase{"Nothing", ""},
                                           RefusedCase{"TagAlone", "04"},
                                           RefusedCase{"ContentMissing", "0401"},
                                           RefusedCase{"ContentShort", "0402aa"},
                                           RefusedCase{"LengthShort", "0482ff"},
                                           RefusedCase{"LengthBeyondEnd", "0484ffffffff00"},
                                           RefusedCase{"LengthOfFiveBytes", "04850000000001aa"},
                                           RefusedCase{"LongFormForShortLength", "048101aa"},
                                           RefusedCase{"LengthWithLeadingZero", "04820001aa"},
                                           RefusedCase{"Indefinite",
                                                       "3080020100"
                                                       "0000"},
                                           RefusedCase{"HighTagNumber", "1f0100"}),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_F(DerReaderTest, AReaderWalksElementsAndStopsBehindTheLast) {
  const ExactBytes input(fromHex("0201050400"));
  DerReader reader(viewOf(input));
  EXPECT_FALSE(reader.take(velmora::kOctetString));
  const auto number = reader.take(velmora::kInteger);
  ASSERT_TRUE(number);
  EXPECT_EQ(velmora::derSmallInteger(number->content), 5u);
  EXPECT_EQ(number->whole.size(), 3u);
  EXPECT_TRUE(reader.take(velmora::kOctetString));
  EXPECT_TRUE(reader.atEnd());
}

TEST_F(DerReaderTest, BytesBehindAnElementAreNotItsContent) {
  const ExactBytes input(fromHex("04010000"));
  EXPECT_FALSE(velmora::derContent(viewOf(input), velmora::kOctetString));
}

TEST_F(DerReaderTest, FieldsAreElementsWithTheirTagsAndNothingElse) {
  const auto fieldsOf = [](const char* hex) {
    const ExactBytes input(fromHex(hex));
    const auto fields =
        velmora::derSequence(viewOf(input), {velmora::kInteger, velmora::kOctetString});
    return fields ? toHex((*fields)[0].content.data(), (*fields)[0].content.size()) + " " +
                        toHex((*fields)[1].whole.data(), (*fields)[1].whole.size())
                  : std::string("none");
  };
  EXPECT_EQ(fieldsOf("30060201050401aa"), "05 0401aa");
  EXPECT_EQ(fieldsOf("3003020105"), "none") << "one is missing";
  EXPECT_EQ(fieldsOf("30060401aa020105"), "none") << "in another order";
  EXPECT_EQ(fieldsOf("30080201050401aa0500"), "none") << "one too many";
  EXPECT_EQ(fieldsOf("30060201050402aa"), "none") << "the second one is cut";
  EXPECT_EQ(fieldsOf("31060201050401aa"), "none") << "no sequence";
  EXPECT_EQ(fieldsOf("30060201050401aa00"), "none") << "bytes behind it";
}

TEST_F(DerReaderTest, NegativeIntegersAreNoUnsignedNumbers) {
  const ExactBytes negative{0x80};
  const ExactBytes padded{0x00, 0x80};
  EXPECT_FALSE(velmora::derUnsigned(viewOf(negative)));
  EXPECT_EQ(velmora::derUnsigned(viewOf(padded))->size(), 1u);
  EXPECT_EQ(velmora::derSmallInteger(viewOf(padded)), 128u);
}

TEST_F(DerReaderTest, SmallIntegersHaveOneToFourBytes) {
  const auto read = [](const char* hex) {
    const ExactBytes content(fromHex(hex));
    return velmora::derSmallInteger(viewOf(content));
  };
  EXPECT_EQ(read("00"), 0u);
  EXPECT_EQ(read("7f"), 127u);
  EXPECT_EQ(read("0100"), 256u);
  EXPECT_EQ(read("7fffffff"), 0x7FFFFFFFu);
  for (const char* const hex : {"", "80", "ff", "80000000", "007fffffff"}) {
    EXPECT_EQ(read(hex), std::nullopt) << hex;
  }
}

TEST_F(DerReaderTest, UnsignedNumbersLoseTheirLeadingZeros) {
  const auto read = [](const char* hex) {
    const ExactBytes content(fromHex(hex));
    const auto number = velmora::derUnsigned(viewOf(content));
    return number ? toHex(number->data(), number->size()) : "none";
  };
  EXPECT_EQ(read("00"), "");
  EXPECT_EQ(read("0080"), "80");
  EXPECT_EQ(read("000001"), "01");
  EXPECT_EQ(read("7f00"), "7f00");
  EXPECT_EQ(read(""), "none");
  EXPECT_EQ(read("80"), "none");
}

TEST_F(DerReaderTest, BitStringsOfWholeBytesBeginWithAZero) {
  const auto read = [](const char* hex) {
    const ExactBytes content(fromHex(hex));
    const auto bytes = velmora::derBitStringBytes(viewOf(content));
    return bytes ? toHex(bytes->data(), bytes->size()) : "none";
  };
  EXPECT_EQ(read("00"), "");
  EXPECT_EQ(read("00a0"), "a0");
  EXPECT_EQ(read("04a0"), "none");
  EXPECT_EQ(read("01"), "none");
  EXPECT_EQ(read(""), "none");
}

TEST_F(DerReaderTest, LengthsOfEveryWidthAreRead) {
  for (const size_t length : {0u, 127u, 128u, 255u, 256u, 65535u, 65536u}) {
    Bytes whole;
    const std::string content(length, 'x');
    velmora::DerWriter(whole).element(velmora::kOctetString,
                                      {reinterpret_cast<const uint8_t*>(content.data()), length});
    const ExactBytes exact(
        std::string_view(reinterpret_cast<const char*>(whole.data()), whole.size()));
    EXPECT_EQ(velmora::derContent(viewOf(exact), velmora::kOctetString)->size(), length);
    EXPECT_FALSE(velmora::derContent(viewOf(exact).first(exact.size() - 1), velmora::kOctetString));
  }
}

}  // namespace
}  // namespace vexa::test
