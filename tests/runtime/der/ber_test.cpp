#include "runtime/der/ber.h"

#include "runtime/crypto_fixture.h"
#include "runtime/der/der_maker.h"
#include "runtime/views.h"

namespace vexa::test {
namespace {

using velmora::Bytes;

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

// The first level and thirty-two below it, of either kind of length, whole or in pieces.
TEST_F(BerTest, BerNestedTooDeeplyIsRefused) {
  struct Case {
    const char* name;
    const char* header;
    const char* innermost;
    bool isIndefinite;
  };
  for (const Case& each :
       {Case{"sequences", "30", "0500", false}, Case{"open sequences", "3080", "0500", true},
        Case{"pieces", "24", "0400", false}, Case{"open pieces", "2480", "0400", true}}) {
    std::string ber = fromHex(each.innermost);
    for (int depth = 1; depth <= 40; ++depth) {
      ber = each.isIndefinite ? fromHex(each.header) + ber + std::string(2, '\0')
                              : element(each.header, ber);
      const ExactBytes exact(ber);
      Bytes der;
      EXPECT_EQ(velmora::derFromBer(viewOf(exact), der), depth <= 32) << depth << each.name;
    }
  }
}

TEST_F(BerTest, WhatIsNoStringStaysInItsParts) {
  for (const char* const tag : {"23", "25", "30", "31", "35", "38", "a0", "a4"}) {
    const std::string content = fromHex("040161040162");
    const ExactBytes ber(fromHex(tag) + fromHex("80") + content + std::string(2, '\0'));
    Bytes der;
    EXPECT_TRUE(velmora::derFromBer(viewOf(ber), der)) << tag;
    EXPECT_EQ(hexOf(der), std::string(tag) + "06040161040162");
  }
}

TEST_F(BerTest, EveryTypeOfStringMayComeInPieces) {
  for (const char* const tag : {"04", "0c", "12", "13", "14", "16", "1a", "1c", "1e"}) {
    std::string constructed = fromHex(tag);
    constructed[0] = static_cast<char>(constructed[0] | 0x20);
    const std::string pieces = fromHex(tag) + fromHex("0161") + fromHex(tag) + fromHex("0162");
    const ExactBytes definite(constructed + '\x06' + pieces);
    const ExactBytes indefinite(constructed + '\x80' + pieces + std::string(2, '\0'));
    for (const ExactBytes* const ber : {&definite, &indefinite}) {
      Bytes der;
      EXPECT_TRUE(velmora::derFromBer(viewOf(*ber), der)) << tag;
      EXPECT_EQ(hexOf(der), std::string(tag) + "026162");
    }
  }
}

TEST_F(BerTest, APieceOfAStringIsAString) {
  for (const char* const hex : {"2403020105", "24053003020105",
                                "2480020105"
                                "0000"}) {
    const ExactBytes ber(fromHex(hex));
    Bytes der;
    EXPECT_FALSE(velmora::derFromBer(viewOf(ber), der)) << hex;
  }
}

TEST_F(BerTest, LongLengthsBecomeTheShortest) {
  const ExactBytes ber(
      fromHex("308400000006"
              "02810105"
              "0500"));
  Bytes der;
  ASSERT_TRUE(velmora::derFromBer(viewOf(ber), der));
  EXPECT_EQ(hexOf(der), "30050201050500");
}

TEST_F(BerTest, LengthsOfMoreThanFourBytesAreRefused) {
  for (const char* const hex : {"04850000000001aa", "0489010000000000000001aa"}) {
    const ExactBytes ber(fromHex(hex));
    Bytes der;
    EXPECT_FALSE(velmora::derFromBer(viewOf(ber), der)) << hex;
  }
  const ExactBytes four(fromHex("048400000001aa"));
  Bytes der;
  EXPECT_TRUE(velmora::derFromBer(viewOf(four), der));
}

TEST_F(BerTest, MemoryThatIsShortIsNotMalformedInputTakenForDer) {
  const ExactBytes ber(fromHex("30800201050000"));
  Bytes der;
  spy.failAllocation(1);
  EXPECT_FALSE(velmora::derFromBer(viewOf(ber), der));
  EXPECT_TRUE(der.failed());
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

TEST_F(BerTest, OneZeroIsNotTheEnd) {
  const ExactBytes ber(
      fromHex("3080"
              "000178"
              "0000"));
  Bytes der;
  ASSERT_TRUE(velmora::derFromBer(viewOf(ber), der));
  EXPECT_EQ(hexOf(der), "3003000178");
}

}  // namespace
}  // namespace vexa::test
