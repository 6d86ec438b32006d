#include "runtime/crypto_fixture.h"
#include "runtime/der/ber.h"
#include "runtime/der/der_reader.h"
#include "runtime/der/der_writer.h"

namespace vexa::test {
namespace {

using velmora::Bytes;
using velmora::DerReader;
using velmora::DerWriter;

velmora::ByteView viewOf(const ExactBytes& bytes) { return {bytes.data(), bytes.size()}; }
std::string hexOf(const Bytes& bytes) { return toHex(bytes.data(), bytes.size()); }

class DerTest : public RuntimeTest {};

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

TEST_F(DerTest, AReaderWalksElementsAndStopsBehindTheLast) {
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

TEST_F(DerTest, BytesBehindAnElementAreNotItsContent) {
  const ExactBytes input(fromHex("04010000"));
  EXPECT_FALSE(velmora::derContent(viewOf(input), velmora::kOctetString));
}

TEST_F(DerTest, NegativeIntegersAreNoUnsignedNumbers) {
  const ExactBytes negative{0x80};
  const ExactBytes padded{0x00, 0x80};
  EXPECT_FALSE(velmora::derUnsigned(viewOf(negative)));
  EXPECT_EQ(velmora::derUnsigned(viewOf(padded))->size(), 1u);
  EXPECT_EQ(velmora::derSmallInteger(viewOf(padded)), 128u);
}

TEST_F(DerTest, AWriterChoosesTheShortestLength) {
  for (const auto& [length, header] : {std::pair<size_t, const char*>{0, "0400"},
                                       {127, "047f"},
                                       {128, "048180"},
                                       {256, "04820100"},
                                       {65536, "0483010000"}}) {
    Bytes out;
    const std::string content(length, '\0');
    DerWriter(out).element(velmora::kOctetString,
                           {reinterpret_cast<const uint8_t*>(content.data()), content.size()});
    EXPECT_EQ(hexOf(out).substr(0, std::string_view(header).size()), header);
    EXPECT_EQ(out.size(), std::string_view(header).size() / 2 + length);
  }
}

TEST_F(DerTest, AWriterKeepsIntegersPositive) {
  Bytes out;
  DerWriter writer(out);
  writer.smallInteger(0);
  writer.smallInteger(127);
  writer.smallInteger(128);
  EXPECT_EQ(hexOf(out),
            "020100"
            "02017f"
            "02020080");
}

TEST_F(DerTest, IndefiniteLengthsAndStringsInPiecesBecomeDer) {
  // A sequence of an octet string in three pieces, one of them in pieces itself, and a number.
  const ExactBytes ber(
      fromHex("3080"
              "2480"
              "0401aa"
              "2403"
              "0401bb"
              "0401cc"
              "0000"
              "020105"
              "0000"));
  Bytes der;
  ASSERT_TRUE(velmora::derFromBer(viewOf(ber), der));
  EXPECT_EQ(hexOf(der),
            "3008"
            "0403aabbcc"
            "020105");
}

TEST_F(DerTest, BerThatEndsEarlyOrGoesOnIsRefused) {
  for (const char* hex : {"3080",
                          "30800000"
                          "00",
                          "30800200",
                          "2480020100"
                          "0000",
                          "3005020100"}) {
    const ExactBytes ber(fromHex(hex));
    Bytes der;
    EXPECT_FALSE(velmora::derFromBer(viewOf(ber), der)) << hex;
  }
}

TEST_F(DerTest, BerNestedTooDeeplyIsRefused) {
  std::string deep;
  for (int i = 0; i < 100; ++i) {
    deep += fromHex("3080");
  }
  for (int i = 0; i < 100; ++i) {
    deep += fromHex("0000");
  }
  const ExactBytes ber(deep);
  Bytes der;
  EXPECT_FALSE(velmora::derFromBer(viewOf(ber), der));
}

TEST_F(DerTest, AFailedAllocationShowsAtTheEndOfARowOfAppends) {
  Bytes out;
  spy.failAllocation(1);
  DerWriter writer(out);
  const size_t mark = writer.begin(velmora::kSequence);
  writer.smallInteger(1);
  writer.end(mark);
  EXPECT_TRUE(out.failed());
}

}  // namespace
}  // namespace vexa::test
