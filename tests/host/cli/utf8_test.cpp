#include "cli/utf8.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace vexahost {
namespace {

constexpr uint32_t kCodePoints = 0x110000;

bool isSurrogate(uint32_t value) { return value >= 0xD800 && value <= 0xDFFF; }

// By the number of bits that each length holds, also where the standard allows no such text.
std::string encoded(uint32_t value, size_t length) {
  if (length == 1) {
    return std::string(1, static_cast<char>(value));
  }
  constexpr uint32_t kLeads[] = {0, 0, 0xC0, 0xE0, 0xF0};
  std::string text;
  for (size_t i = 1; i < length; ++i) {
    text.insert(text.begin(), static_cast<char>(0x80 | (value & 0x3F)));
    value >>= 6;
  }
  text.insert(text.begin(), static_cast<char>(kLeads[length] | value));
  return text;
}

size_t lengthOf(uint32_t value) {
  return value < 0x80 ? 1 : value < 0x800 ? 2 : value < 0x10000 ? 3 : 4;
}

TEST(Utf8, EveryCodePointIsReadBack) {
  std::vector<uint32_t> values = {kCodePoints - 1};
  for (uint32_t value = 0; value < kCodePoints; value += value < 0x11000 ? 1 : 97) {
    values.push_back(value);
  }
  for (const uint32_t value : values) {
    if (!isSurrogate(value)) {
      const std::string text = encoded(value, lengthOf(value));
      const CodePoint first = firstCodePoint(text + "x");
      ASSERT_EQ(first.value, value);
      ASSERT_EQ(first.length, text.size()) << value;
    }
  }
}

TEST(Utf8, NothingElseIsACodePoint) {
  std::vector<std::string> wrong;
  for (uint32_t value = 0; value < 0x10000; ++value) {
    for (size_t length = lengthOf(value) + 1; length <= 4; ++length) {
      wrong.push_back(encoded(value, length));  // longer than need be
    }
    if (isSurrogate(value)) {
      wrong.push_back(encoded(value, 3));
    }
  }
  for (uint32_t value = kCodePoints; value < 0x200000; value += 0x100) {
    wrong.push_back(encoded(value, 4));
  }
  for (uint32_t lead = 0x80; lead <= 0xFF; ++lead) {
    wrong.push_back(std::string(1, static_cast<char>(lead)));  // cut short, or no lead at all
    if (lead < 0xC2 || lead > 0xF4) {
      wrong.push_back(std::string(1, static_cast<char>(lead)) + "\x80\x80\x80");
    }
  }
  for (const std::string& text : wrong) {
    const CodePoint first = firstCodePoint(text);
    ASSERT_EQ(first.length, 0u) << testing::PrintToString(text);
    ASSERT_EQ(first.value, static_cast<uint8_t>(text[0]));
  }
}

TEST(Utf8, EachByteMustContinueWhatWasBegun) {
  for (const uint32_t value : {0xA0u, 0x2028u, 0x10437u}) {
    const std::string whole = encoded(value, lengthOf(value));
    for (size_t place = 1; place < whole.size(); ++place) {
      EXPECT_EQ(firstCodePoint(whole.substr(0, place)).length, 0u);
      for (const int other : {0x00, 0x3F, 0x40, 0x7F, 0xC0, 0xFF}) {
        std::string text = whole;
        text[place] = static_cast<char>(other);
        EXPECT_EQ(firstCodePoint(text).length, 0u) << place << ' ' << other;
      }
    }
  }
}

TEST(Utf8, WhatIsInvalidIsReplacedByteByByte) {
  EXPECT_EQ(validUtf8("a\xC3\xA4\xE2\x82\xACz"), "a\xC3\xA4\xE2\x82\xACz");
  EXPECT_EQ(validUtf8("a\xFFz"), "a\xEF\xBF\xBDz");
  EXPECT_EQ(validUtf8("\xED\xA0\x80"), "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");
  EXPECT_EQ(validUtf8("a\xC3"), "a\xEF\xBF\xBD");
  EXPECT_EQ(validUtf8(""), "");
}

}  // namespace
}  // namespace vexahost
