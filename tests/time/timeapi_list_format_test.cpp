#include <gtest/gtest.h>

#include "support/bound_fixture.h"
#include "support/slot.h"
#include "time/timeapi_list.h"

// Only the low byte of a format counts.
namespace vexa::test {
namespace {

class FormatBits : public BoundTest {
 protected:
  static uint64_t convert(uint64_t value, uint32_t from, uint32_t to) {
    return tableEntry<uint64_t(uint64_t, uint32_t, uint32_t)>(&time::kTimeList, 2)(value, from, to);
  }
};

// Arithmetic would wrap, so equal formats must be seen to be equal.
TEST_F(FormatBits, FormatsThatDifferAboveItAreEqual) {
  for (const uint32_t format : {kUnixSecondsFormat, kSecondsFromNowFormat, kFileTimeFormat}) {
    EXPECT_EQ(convert(UINT64_MAX, format | 0x100, format), UINT64_MAX);
    EXPECT_EQ(convert(UINT64_MAX, format, format | 0x80000000), UINT64_MAX);
    EXPECT_EQ(convert(UINT64_MAX, format | 0x0F00, format | 0xF000), UINT64_MAX);
  }
}

TEST_F(FormatBits, BitsAboveItChangeNoConversion) {
  const uint64_t expected = convert(5, kUnixSecondsFormat, kFileTimeFormat);
  EXPECT_EQ(expected, kUnixEpochTicks + 50'000'000);
  EXPECT_EQ(convert(5, kUnixSecondsFormat | 0x300, kFileTimeFormat | 0xFF000000), expected);
}

}  // namespace
}  // namespace vexa::test
