#include <gtest/gtest.h>

#include "base/char_classes.h"

namespace vexa::base {
namespace {

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
