#include <gtest/gtest.h>

#include <cstdarg>
#include <string>

#include "base/wide_format.h"

// Fields of numbers are cut to a length that a line of a trace can bear; those of texts are not.
namespace vexa::base {
namespace {

std::u16string format(const char16_t* text, ...) {
  va_list arguments;
  va_start(arguments, text);
  va_list again;
  va_copy(again, arguments);
  std::u16string out(measureWide(text, arguments), u'?');
  formatWide(out.data(), out.size(), text, again);
  va_end(again);
  va_end(arguments);
  return out;
}

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
