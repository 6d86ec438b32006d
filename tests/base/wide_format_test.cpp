#include "base/wide_format.h"

#include <gtest/gtest.h>

#include <string>

namespace vexa::base {
namespace {

// Measured, then formatted into exactly that room.
std::u16string format(const char16_t* text, ...) {
  va_list arguments;
  va_start(arguments, text);
  va_list again;
  va_copy(again, arguments);
  const uint64_t length = measureWide(text, again);
  va_end(again);
  std::u16string out(length + 1, u'?');
  formatWide(out.data(), length, text, arguments);
  va_end(arguments);
  EXPECT_EQ(out.back(), 0);
  out.pop_back();
  return out;
}

TEST(WideFormat, CopiesWhatIsNoDirective) {
  EXPECT_EQ(format(u""), u"");
  EXPECT_EQ(format(u"a \u20AC 100%%"), u"a \u20AC 100%");
}

TEST(WideFormat, SmallTextsAreWideAndCapitalTextsNarrow) {
  EXPECT_EQ(format(u"%s|%S|%c|%C", u"w\u20AC", "n", u'x', 'y'), u"w\u20AC|n|x|y");
  EXPECT_EQ(format(u"%hs|%ls|%hc|%lc|%hS", "n", u"w", 'x', u'y', "z"), u"n|w|x|y|z");
}

TEST(WideFormat, NullTextsAreNamed) {
  EXPECT_EQ(
      format(u"%s %S", static_cast<const char16_t*>(nullptr), static_cast<const char*>(nullptr)),
      u"(null) (null)");
}

TEST(WideFormat, WidthAndPrecisionOfTexts) {
  EXPECT_EQ(format(u"[%5s][%-5s][%.2s][%*s][%-*.*s]", u"ab", u"ab", u"abc", 3, u"x", 4, 1, u"yz"),
            u"[   ab][ab   ][ab][  x][y   ]");
  EXPECT_EQ(format(u"[%*s]", -4, u"ab"), u"[ab  ]") << "a negative width aligns left";
}

TEST(WideFormat, PointersAreHexadecimal) {
  const void* const pointer = "somewhere";
  const std::u16string wide = format(u"%24p|", pointer);
  ASSERT_EQ(wide.size(), 25u);
  const std::string text(wide.begin(), wide.end());  // "0x" and zeros differ between systems
  EXPECT_EQ(std::stoull(text, nullptr, 16), reinterpret_cast<uintptr_t>(pointer)) << text;
}

TEST(WideFormat, NumbersOfEverySize) {
  EXPECT_EQ(format(u"%d %i %u %x %X %o", -1, 2, 3u, 0xABu, 0xABu, 8u), u"-1 2 3 ab AB 10");
  EXPECT_EQ(format(u"%I64d %I64x %lld", INT64_MIN, UINT64_MAX, 5LL),
            u"-9223372036854775808 ffffffffffffffff 5");
  EXPECT_EQ(format(u"%ld %lu %hd %hu", -7, 7u, 65535, 65537u), u"-7 7 -1 1");
  EXPECT_EQ(format(u"%Fd %Ld %Nd", 1, 2, 3), u"1 2 3") << "prefixes that are read over";
}

TEST(WideFormat, FlagsWidthAndPrecisionOfNumbers) {
  EXPECT_EQ(format(u"[%08x][%5d][%-5d][%+d][%.3d][% d][%#x]", 0xBEEFu, 42, 42, 42, 7, 7, 255u),
            u"[0000beef][   42][42   ][+42][007][ 7][0xff]");
  EXPECT_EQ(format(u"%8x", 0x80004005u), u"80004005");
}

TEST(WideFormat, FloatingPoint) { EXPECT_EQ(format(u"%.2f %g", 1.5, 0.25), u"1.50 0.25"); }

TEST(WideFormat, HugeWidthsAreBounded) {
  EXPECT_LE(format(u"%999999999d", 1).size(), 70000u);
  EXPECT_LE(format(u"%.999999999f", 1.0).size(), 70000u);
}

TEST(WideFormat, ADirectiveThatIsCutShortEndsTheText) {
  EXPECT_EQ(format(u"a%"), u"a");
  EXPECT_EQ(format(u"a%-5"), u"a");
  EXPECT_EQ(format(u"a%q"), u"aq") << "what is no conversion stands for itself";
}

void formatInto(std::u16string& room, uint64_t length, const char16_t* text, ...) {
  va_list arguments;
  va_start(arguments, text);
  formatWide(room.data(), length, text, arguments);
  va_end(arguments);
}

TEST(WideFormat, FillsItsRoomAndNoMore) {
  for (uint64_t length = 0; length < 8; ++length) {
    std::u16string room(9, u'?');
    formatInto(room, length, u"%d%s", 12, u"345");
    const std::u16string fits = std::u16string(u"12345").substr(0, length);
    EXPECT_EQ(room, fits + u'\0' + std::u16string(room.size() - fits.size() - 1, u'?')) << length;
  }
}

// --- Fields of numbers are cut to a length that a line of a trace can bear; those of texts are
// not.

TEST(WideField, ANumberTakesAtMost400Characters) {
  EXPECT_EQ(format(u"%399d", 5), std::u16string(398, u' ') + u"5");
  EXPECT_EQ(format(u"%400d", 5), std::u16string(399, u' ') + u"5");
  EXPECT_EQ(format(u"%401d", 5), std::u16string(399, u' ') + u"5");
  EXPECT_EQ(format(u"%-60000d", 5), u"5" + std::u16string(399, u' '));
  EXPECT_EQ(format(u"%.400d", 5), std::u16string(399, u'0') + u"5");
  EXPECT_EQ(format(u"%.401d", 5), std::u16string(399, u'0') + u"5");
}

TEST(WideField, APrecisionOfNothingIsOne) {
  EXPECT_EQ(format(u"<%.0d>", 0), u"<>");
  EXPECT_EQ(format(u"<%d>", 0), u"<0>");
  EXPECT_EQ(format(u"<%.0f>", 2.75), u"<3>");
  EXPECT_EQ(format(u"<%.s>", u"text"), u"<>");
}

TEST(WideField, ATextTakesWhatItsWidthSays) {
  EXPECT_EQ(format(u"%401s", u"x"), std::u16string(400, u' ') + u"x");
}

}  // namespace
}  // namespace vexa::base
