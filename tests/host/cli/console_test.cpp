#include "cli/console.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <utility>

namespace vexahost {
namespace {

// What turns lines or the direction of writing, takes no room, or does anything else but show.
constexpr std::pair<char32_t, char32_t> kHarmful[] = {
    {0x0000, 0x001F}, {0x007F, 0x009F}, {0x00AD, 0x00AD}, {0x034F, 0x034F},
    {0x061C, 0x061C}, {0x115F, 0x1160}, {0x17B4, 0x17B5}, {0x180E, 0x180E},
    {0x200B, 0x200F}, {0x2028, 0x202E}, {0x2060, 0x206F}, {0x3164, 0x3164},
    {0xFEFF, 0xFEFF}, {0xFFA0, 0xFFA0}, {0xFFF0, 0xFFFB}, {0xE0000, 0xE007F},
};

std::string utf8(char32_t value) {
  const std::u8string text = std::filesystem::path(std::u32string(1, value)).u8string();
  return std::string(text.begin(), text.end());
}

std::string escape(char32_t value) {
  char text[16] = {};
  std::snprintf(text, sizeof(text),
                value < 0x100     ? "\\x%02X"
                : value < 0x10000 ? "\\u%04X"
                                  : "\\U%08X",
                static_cast<unsigned>(value));
  return text;
}

TEST(Visible, ShowsEveryCodePointThatDoesNoHarm) {
  for (char32_t value = 1; value < 0xE0100; value += value == 0x11000 ? 0xCF000 : 1) {
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
