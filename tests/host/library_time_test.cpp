#include "library_time.h"

#include <gtest/gtest.h>

namespace vexahost {
namespace {

using std::chrono::sys_days;
using std::chrono::sys_seconds;

TEST(LibraryTime, IsWrittenInDigitsAndReadBack) {
  const sys_seconds times[] = {
      sys_days(std::chrono::year(1970) / 1 / 1),
      sys_days(std::chrono::year(2024) / 2 / 29) + std::chrono::seconds(1),
      sys_days(std::chrono::year(9999) / 12 / 31) + std::chrono::seconds(24 * 60 * 60 - 1)};
  const char* const texts[] = {"19700101T000000", "20240229T000001", "99991231T235959"};
  for (size_t i = 0; i < std::size(times); ++i) {
    EXPECT_EQ(libraryTime(times[i]), texts[i]);
    EXPECT_EQ(fromLibraryTime(texts[i]), times[i]) << texts[i];
  }
}

TEST(LibraryTime, IsMadeOfTheTextsThatPeopleType) {
  EXPECT_EQ(libraryTime("2030-12-31"), "20301231T000000");
  EXPECT_EQ(libraryTime("20301231"), "20301231T000000");
  EXPECT_EQ(libraryTime("2030-12-31T23:59:58Z"), "20301231T235958");
  EXPECT_EQ(libraryTime("20301231T235958"), "20301231T235958");
  EXPECT_EQ(libraryTime("tomorrow"), "tomorrowT000000") << "which is none";
}

TEST(LibraryTime, OfNoCalendarIsNone) {
  for (const char* const text :
       {"", "2030", "20301231", "20301231T2359", "20301331T000000", "20300229T000000"}) {
    EXPECT_EQ(fromLibraryTime(text), std::nullopt) << text;
  }
}

}  // namespace
}  // namespace vexahost
