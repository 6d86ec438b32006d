#include "runtime/der/der_writer.h"

#include "runtime/crypto_fixture.h"

namespace vexa::test {
namespace {

using velmora::Bytes;
using velmora::DerWriter;

std::string hexOf(const Bytes& bytes) { return toHex(bytes.data(), bytes.size()); }

class DerWriterTest : public RuntimeTest {};

TEST_F(DerWriterTest, AWriterChoosesTheShortestLength) {
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

TEST_F(DerWriterTest, AWriterKeepsIntegersPositive) {
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

TEST_F(DerWriterTest, LengthsHaveUpToFourBytes) {
  Bytes out;
  const std::string content(0x1000000, '\0');
  DerWriter(out).element(velmora::kOctetString,
                         {reinterpret_cast<const uint8_t*>(content.data()), content.size()});
  EXPECT_EQ(out.size(), content.size() + 6);
  EXPECT_EQ(toHex(out.data(), 6), "048401000000");
}

TEST_F(DerWriterTest, EachTypeHasItsOwnForm) {
  Bytes out;
  DerWriter writer(out);
  writer.null();
  writer.boolean(true);
  writer.boolean(false);
  writer.objectId("2.5.4.3");
  const uint8_t number[] = {0x00, 0x00, 0x80, 0x01};
  writer.unsignedInteger(number);
  writer.unsignedInteger({});
  writer.bitString(velmora::ByteView(number).last(1));
  EXPECT_EQ(hexOf(out),
            "0500"
            "0101ff"
            "010100"
            "0603550403"
            "0203008001"
            "020100"
            "03020001");
}

TEST_F(DerWriterTest, BytesBuiltElsewhereBringTheirFailure) {
  Bytes good;
  good.append(uint8_t{7});
  Bytes failed;
  failed.fail();
  Bytes out;
  DerWriter writer(out);
  writer.element(velmora::kOctetString, good);
  writer.element(good);
  EXPECT_EQ(hexOf(out), "04010707");
  EXPECT_FALSE(out.failed());
  writer.element(failed);
  EXPECT_TRUE(out.takeFailure());
  writer.element(velmora::kOctetString, failed);
  EXPECT_TRUE(out.takeFailure());
  writer.fail();
  EXPECT_TRUE(out.failed());
}

TEST_F(DerWriterTest, AFailedAllocationShowsAtTheEndOfARowOfAppends) {
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
