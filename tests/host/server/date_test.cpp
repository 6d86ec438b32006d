#include "server/date.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace vexahost {
namespace {

std::string dateOf(int64_t seconds) {
  return httpDate(std::chrono::system_clock::from_time_t(static_cast<std::time_t>(seconds)));
}

TEST(DateTest, TheExampleOfTheStandardIsWrittenAsItStandsThere) {
  EXPECT_EQ("Sun, 06 Nov 1994 08:49:37 GMT", dateOf(784'111'777));
}

TEST(DateTest, TheEpochIsAThursday) { EXPECT_EQ("Thu, 01 Jan 1970 00:00:00 GMT", dateOf(0)); }

TEST(DateTest, LeapDaysAndTheEndOfAYearAreDays) {
  EXPECT_EQ("Thu, 29 Feb 2024 23:59:59 GMT", dateOf(1'709'251'199));
  EXPECT_EQ("Fri, 31 Dec 2027 23:59:59 GMT", dateOf(1'830'297'599));
}

TEST(DateTest, DaysAndMonthsHaveTheNamesOfTheStandard) {
  constexpr int64_t kDay = 24 * 60 * 60;
  const std::vector<std::string> days = {"Thu", "Fri", "Sat", "Sun", "Mon", "Tue", "Wed"};
  const std::vector<std::string> months = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                           "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  for (size_t i = 0; i < days.size(); ++i) {
    EXPECT_EQ(days[i] + ", 0" + std::to_string(i + 1) + " Jan 1970 00:00:00 GMT",
              dateOf(static_cast<int64_t>(i) * kDay));
  }
  for (size_t i = 0; i < months.size(); ++i) {
    // The middle of a month.
    EXPECT_EQ(months[i], dateOf(static_cast<int64_t>(i * 30 + 16) * kDay).substr(8, 3));
  }
}

TEST(DateTest, AClockTellsEachSecond) {
  DateClock clock;
  const auto start = std::chrono::system_clock::from_time_t(784'111'777);
  EXPECT_EQ("Sun, 06 Nov 1994 08:49:37 GMT", clock.text(start));
  EXPECT_EQ("Sun, 06 Nov 1994 08:49:37 GMT", clock.text(start + std::chrono::milliseconds(999)));
  EXPECT_EQ("Sun, 06 Nov 1994 08:49:38 GMT", clock.text(start + std::chrono::seconds(1)));
  EXPECT_EQ("Sun, 06 Nov 1994 08:49:37 GMT", clock.text(start));
}

}  // namespace
}  // namespace vexahost
