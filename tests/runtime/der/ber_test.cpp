#include "runtime/der/ber.h"

#include "runtime/crypto_fixture.h"

namespace vexa::test {
namespace {

using velmora::Bytes;

velmora::ByteView viewOf(const ExactBytes& bytes) { return {bytes.data(), bytes.size()}; }
std::string hexOf(const Bytes& bytes) { return toHex(bytes.data(), bytes.size()); }

class BerTest : public RuntimeTest {};

TEST_F(BerTest, IndefiniteLengthsAndStringsInPiecesBecomeDer) {
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

TEST_F(BerTest, BerThatEndsEarlyOrGoesOnIsRefused) {
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

TEST_F(BerTest, BerNestedTooDeeplyIsRefused) {
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

// Where it ends before it is complete; the bytes lie before the end of their memory.

// A literal, without the zero byte behind it.
template <size_t kSize>
bool reads(const char (&literal)[kSize]) {
  const ExactBytes exact(std::string_view(literal, kSize - 1));
  const runtime::ByteBuffer buffer = exact.buffer();
  velmora::Bytes der;
  return velmora::derFromBer({buffer.data, static_cast<size_t>(buffer.length)}, der);
}

TEST_F(BerTest, AnIndefiniteElementEndsWithTwoZeros) {
  EXPECT_TRUE(reads("\x30\x80\0\0"));
  EXPECT_FALSE(reads("\x30\x80\0"));
  EXPECT_FALSE(reads("\x30\x80"));
  EXPECT_TRUE(reads("\x24\x80\x04\x01x\0\0"));
  EXPECT_FALSE(reads("\x24\x80\x04\x01x\0"));
  EXPECT_FALSE(reads("\x24\x80\x04\x01x"));
}

}  // namespace
}  // namespace vexa::test
