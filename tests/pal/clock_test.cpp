#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "pal/windows_api.h"

namespace {

struct FileTimeCase {
  const char* name;
  SYSTEMTIME time;  // year, month, day of week, day, hour, minute, second, millisecond
  bool valid;
  std::uint64_t ticks;
};
constexpr FileTimeCase kCases[] = {
    {"TheFirstMoment", {1601, 1, 0, 1, 0, 0, 0, 0}, true, 0},
    {"TheUnixEpoch", {1970, 1, 0, 1, 0, 0, 0, 0}, true, 116444736000000000},
    {"ALeapDay", {2024, 2, 0, 29, 23, 59, 59, 999}, true, 133537247999990000},
    {"TheDayOfTheWeekIsNotLookedAt", {1601, 1, 9, 1, 0, 0, 0, 1}, true, 10000},
    {"TheLastYear", {30827, 12, 0, 31, 0, 0, 0, 0}, true, 9223149024000000000},
    {"BeforeTheFirstYear", {1600, 12, 0, 31, 0, 0, 0, 0}, false, 0},
    {"MonthZero", {2000, 0, 0, 1, 0, 0, 0, 0}, false, 0},
    {"MonthThirteen", {2000, 13, 0, 1, 0, 0, 0, 0}, false, 0},
    {"DayZero", {2000, 1, 0, 0, 0, 0, 0, 0}, false, 0},
    {"HourTwentyFour", {2000, 1, 0, 1, 24, 0, 0, 0}, false, 0},
    {"MinuteSixty", {2000, 1, 0, 1, 0, 60, 0, 0}, false, 0},
    {"SecondSixty", {2000, 1, 0, 1, 0, 0, 60, 0}, false, 0},
    {"AThousandMilliseconds", {2000, 1, 0, 1, 0, 0, 0, 1000}, false, 0},
};

std::uint64_t ticksOf(const FILETIME& time) {
  return std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime;
}

std::string caseName(const testing::TestParamInfo<FileTimeCase>& info) { return info.param.name; }

class FileTime : public testing::TestWithParam<FileTimeCase> {};

}  // namespace

TEST_P(FileTime, ConvertsOrRefuses) {
  FILETIME result{};
  SetLastError(0);
  EXPECT_EQ(SystemTimeToFileTime(&GetParam().time, &result) != FALSE, GetParam().valid);
  EXPECT_EQ(ticksOf(result), GetParam().ticks);
  EXPECT_EQ(GetLastError(), GetParam().valid ? 0u : DWORD{ERROR_INVALID_PARAMETER});
}
INSTANTIATE_TEST_SUITE_P(Clock, FileTime, testing::ValuesIn(kCases), caseName);

TEST(Clock, NowIsAMomentThatExistsAndDoesNotGoBack) {
  SYSTEMTIME first{};
  SYSTEMTIME second{};
  GetSystemTime(&first);
  GetSystemTime(&second);
  FILETIME a{};
  FILETIME b{};
  ASSERT_TRUE(SystemTimeToFileTime(&first, &a));
  ASSERT_TRUE(SystemTimeToFileTime(&second, &b));
  EXPECT_LE(ticksOf(a), ticksOf(b));
  EXPECT_GE(first.wYear, 2024);
  EXPECT_LE(first.wDayOfWeek, 6);
}

TEST(Clock, TheDayOfTheWeekFollowsFromTheDate) {
  SYSTEMTIME now{};
  GetSystemTime(&now);
  SYSTEMTIME midnight{now.wYear, now.wMonth, 0, now.wDay, 0, 0, 0, 0};
  FILETIME ticks{};
  ASSERT_TRUE(SystemTimeToFileTime(&midnight, &ticks));
  constexpr std::uint64_t kTicksPerDay = 864'000'000'000;
  constexpr std::uint64_t kMonday = 1;  // 1601-01-01
  EXPECT_EQ(now.wDayOfWeek, (ticksOf(ticks) / kTicksPerDay + kMonday) % 7);
}
