#include "cli/console.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <utility>

namespace vexahost {
namespace {

// What turns lines or the direction of writing, or does anything else but show.
constexpr std::pair<char32_t, char32_t> kHarmful[] = {
    {0x0000, 0x001F}, {0x007F, 0x009F}, {0x061C, 0x061C}, {0x200B, 0x200F},
    {0x2028, 0x202E}, {0x2066, 0x2069}, {0xFEFF, 0xFEFF},
};

std::string utf8(char32_t value) {
  const std::u8string text = std::filesystem::path(std::u32string(1, value)).u8string();
  return std::string(text.begin(), text.end());
}

std::string escape(char32_t value) {
  char text[16] = {};
  std::snprintf(text, sizeof(text), value < 0x100 ? "\\x%02X" : "\\u%04X",
                static_cast<unsigned>(value));
  return text;
}

TEST(Visible, ShowsEveryCodePointThatDoesNoHarm) {
  for (char32_t value = 1; value < 0x11000; ++value) {
    if (value >= 0xD800 && value <= 0xDFFF) {
      value = 0xE000;
    }
    bool isHarmful = false;
    for (const auto& [first, last] : kHarmful) {
      isHarmful = isHarmful || (value >= first && value <= last);
    }
    const std::string one = "a" + utf8(value) + "b";
    ASSERT_EQ(visible(one), isHarmful ? "a" + escape(value) + "b" : one)
        << static_cast<uint32_t>(value);
  }
}

TEST(Visible, ShowsBytesThatAreNoTextByTheirNumbers) {
  EXPECT_EQ(visible(std::string_view("\0", 1)), "\\x00");
  EXPECT_EQ(visible("a\xFF\xC3"), "a\\xFF\\xC3");
  EXPECT_EQ(visible("\xED\xA0\x80z"), "\\xED\\xA0\\x80z");
  EXPECT_EQ(visible(""), "");
}

TEST(Path, IsWhatItsTextNames) {
  EXPECT_EQ(textOf(pathOf("a \xC3\xA4\xE2\x82\xAC.p12")), "a \xC3\xA4\xE2\x82\xAC.p12");
}

}  // namespace
}  // namespace vexahost
