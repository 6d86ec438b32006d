#include <gtest/gtest.h>
#include <time.h>

#include <cstdint>

#include "pal/windows_api.h"

namespace {

// Milliseconds since the Unix epoch, by the system's own clock.
int64_t systemMilliseconds() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000;
}

}  // namespace

TEST(PosixClock, TellsTheSystemsTimeToTheMillisecond) {
  constexpr int64_t kUnixEpoch = 11'644'473'600'000;
  SYSTEMTIME time{};
  FILETIME ticks{};
  const int64_t before = systemMilliseconds();
  GetSystemTime(&time);
  const int64_t after = systemMilliseconds();
  ASSERT_TRUE(SystemTimeToFileTime(&time, &ticks));
  const uint64_t told = (uint64_t{ticks.dwHighDateTime} << 32 | ticks.dwLowDateTime) / 10'000;
  EXPECT_LE(before, static_cast<int64_t>(told) - kUnixEpoch);
  EXPECT_GE(after, static_cast<int64_t>(told) - kUnixEpoch);
}

TEST(PosixClock, EndsWithTheYear30827) {
  const SYSTEMTIME last{30827, 12, 0, 31, 23, 59, 59, 999};
  const SYSTEMTIME behind{30828, 1, 0, 1, 0, 0, 0, 0};
  FILETIME ticks{};
  EXPECT_TRUE(SystemTimeToFileTime(&last, &ticks));
  SetLastError(0);
  EXPECT_FALSE(SystemTimeToFileTime(&behind, &ticks));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
}
