#include "base/char_classes.h"

#include <gtest/gtest.h>

namespace vexa::base {
namespace {

// Counts and borders of each class.
constexpr int countOf(uint32_t mask) {
  int count = 0;
  for (int c = 0; c < 256; ++c) {
    count += isInClass(static_cast<uint8_t>(c), mask) ? 1 : 0;
  }
  return count;
}

TEST(CharClasses, HoldTheirMembersAndNoOthers) {
  EXPECT_EQ(countOf(0x2), 10);
  EXPECT_EQ(countOf(0x40), 4);
  EXPECT_EQ(countOf(0x100), 0xFD - 0x80 + 1);
  EXPECT_EQ(countOf(0x1000), 128 - 2);
  EXPECT_EQ(countOf(0x2000), '~' - '!' + 1 - 2);
  for (const char c : {'0', '9'}) {
    EXPECT_TRUE(isInClass(c, 0x2));
  }
  for (const char c : {'\t', '\n', '\r', ' '}) {
    EXPECT_TRUE(isInClass(c, 0x40));
  }
  EXPECT_TRUE(isInClass(uint8_t{0x80}, 0x100));
  EXPECT_TRUE(isInClass(uint8_t{0xFD}, 0x100));
  EXPECT_FALSE(isInClass(uint8_t{0xFE}, 0x100));
  EXPECT_TRUE(isInClass('\0', 0x1000));
  EXPECT_TRUE(isInClass('\x7F', 0x1000));
  EXPECT_FALSE(isInClass('\n', 0x1000));
  EXPECT_FALSE(isInClass('\r', 0x1000));
  EXPECT_FALSE(isInClass('"', 0x2000));
  EXPECT_FALSE(isInClass('\\', 0x2000));
  EXPECT_FALSE(isInClass(' ', 0x2000));
  EXPECT_FALSE(isInClass('\x7F', 0x2000));
}

constexpr uint32_t kKnown = kDigit | kWhitespace | kText8Bit | kEscapable | kQuotedPlain;

// A bit that no class has would make a character a member of classes to come.
TEST(CharClassBits, NoCharacterHasABitOfNoClass) {
  EXPECT_EQ(kKnown, 0x3142u);
  for (int c = 0; c < 256; ++c) {
    EXPECT_EQ(kCharClasses[static_cast<size_t>(c)] & ~kKnown, 0u) << c;
  }
}

TEST(CharClassBits, EveryClassIsOneBit) {
  for (const uint32_t mask : {kDigit, kWhitespace, kText8Bit, kEscapable, kQuotedPlain}) {
    EXPECT_EQ(mask & (mask - 1), 0u) << mask;
  }
}

}  // namespace
}  // namespace vexa::base
