#include "runtime/der/asn1_string.h"

#include <string>

#include "runtime/crypto_fixture.h"
#include "runtime/der/der_tags.h"
#include "runtime/views.h"
#include "support/sweep.h"

namespace vexa::test {
namespace {

using velmora::Bytes;

std::string textOf(const Bytes& bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

class Asn1String : public RuntimeTest {
 protected:
  // The text of a string, or what was wrong.
  static std::string read(uint8_t tag, const std::string& content) {
    const ExactBytes exact(content);
    Bytes out;
    out.append(uint8_t{'>'});
    return velmora::appendStringAsUtf8(tag, viewOf(exact), out) ? textOf(out) : "refused";
  }
};

TEST_F(Asn1String, EveryTypeBecomesUtf8) {
  for (const uint8_t ascii : {velmora::kNumericString, velmora::kPrintableString,
                              velmora::kIa5String, velmora::kVisibleString}) {
    EXPECT_EQ(read(ascii, "09\x7F"), ">09\x7F");
    EXPECT_EQ(read(ascii, "a\x80"), "refused");
    EXPECT_EQ(read(ascii, "\xC3\xA4"), "refused");
  }
  EXPECT_EQ(read(velmora::kUtf8String, "ä€"), ">ä€");
  EXPECT_EQ(read(velmora::kUtf8String, "\xE4"), "refused");
  EXPECT_EQ(read(velmora::kTeletexString, "a\x80\xE4\xFF"), ">a\xC2\x80äÿ");
  EXPECT_EQ(read(velmora::kBmpString, fromHex("004120ac")), ">A€");
  EXPECT_EQ(read(velmora::kBmpString, fromHex("004120")), "refused");
  EXPECT_EQ(read(velmora::kUniversalString, fromHex("00000041000020ac0001f600")), ">A€😀");
  for (const uint8_t tag : {velmora::kUtf8String, velmora::kTeletexString, velmora::kBmpString,
                            velmora::kUniversalString, velmora::kIa5String}) {
    EXPECT_EQ(read(tag, ""), ">");
  }
  for (const uint8_t other : {velmora::kInteger, velmora::kBitString, velmora::kOctetString}) {
    EXPECT_EQ(read(other, "a"), "refused");
  }
}

TEST_F(Asn1String, UniversalStringsHoldCodePointsAlone) {
  for (const char* const good : {"0000d7ff", "0000e000", "0010ffff"}) {
    EXPECT_NE(read(velmora::kUniversalString, fromHex(good)), "refused") << good;
  }
  for (const char* const bad : {"0000d800", "0000dfff", "00110000", "01000041", "000041", "41"}) {
    EXPECT_EQ(read(velmora::kUniversalString, fromHex(bad)), "refused") << bad;
  }
}

TEST_F(Asn1String, Utf16HasItsBigEndFirst) {
  const ExactBytes utf8(std::string_view("A€😀"));
  Bytes units;
  velmora::appendUtf16FromUtf8(viewOf(utf8), units);
  EXPECT_EQ(toHex(units.data(), units.size()), "004120acd83dde00");
  Bytes back;
  back.append(uint8_t{'>'});
  velmora::appendUtf8FromUtf16(units.view(), back);
  EXPECT_EQ(textOf(back), ">A€😀");
  Bytes nothing;
  velmora::appendUtf16FromUtf8({}, nothing);
  velmora::appendUtf8FromUtf16({}, nothing);
  EXPECT_EQ(nothing.size(), 0u);
  EXPECT_FALSE(nothing.failed());
}

TEST_F(Asn1String, WhatIsNoTextBecomesTheReplacement) {
  const ExactBytes invalid(std::string_view("a\xFFz"));
  Bytes units;
  velmora::appendUtf16FromUtf8(viewOf(invalid), units);
  EXPECT_EQ(toHex(units.data(), units.size()), "0061fffd007a");
  const ExactBytes lone(fromHex("0061d83d007a00"));
  Bytes text;
  velmora::appendUtf8FromUtf16(viewOf(lone), text);
  EXPECT_EQ(textOf(text), "a\xEF\xBF\xBDz") << "and an odd last byte is dropped";
}

TEST_F(Asn1String, MemoryThatIsShortShowsInTheBytes) {
  const ExactBytes bmp(fromHex("004120ac"));
  const ExactBytes universal(fromHex("00000041"));
  const ExactBytes latin(fromHex("e4"));
  const ExactBytes utf8(std::string_view("ä"));
  const auto succeeds = [](Bytes& out) { return !out.failed() && out.size() != 0; };
  for (const auto& each : {std::pair<uint8_t, const ExactBytes&>{velmora::kBmpString, bmp},
                           {velmora::kUniversalString, universal},
                           {velmora::kTeletexString, latin},
                           {velmora::kUtf8String, utf8}}) {
    EXPECT_GE(sweepAllocations(spy,
                               [&] {
                                 Bytes out;
                                 velmora::appendStringAsUtf8(each.first, viewOf(each.second), out);
                                 return succeeds(out);
                               }),
              1)
        << static_cast<int>(each.first);
  }
  EXPECT_GE(sweepAllocations(spy,
                             [&] {
                               Bytes out;
                               velmora::appendUtf16FromUtf8(viewOf(utf8), out);
                               return succeeds(out);
                             }),
            2);
}

}  // namespace
}  // namespace vexa::test
