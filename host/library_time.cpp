#include "library_time.h"

#include <cstdio>

namespace vexahost {

using std::chrono::days;
using std::chrono::seconds;
using std::chrono::sys_days;
using std::chrono::sys_seconds;
using std::chrono::year_month_day;

std::string libraryTime(sys_seconds time) {
  const auto day = std::chrono::floor<days>(time);
  const year_month_day date(day);
  const std::chrono::hh_mm_ss clock(time - day);
  char text[64] = {};
  std::snprintf(text, sizeof(text), "%04d%02u%02uT%02d%02d%02d", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                static_cast<int>(clock.seconds().count()));
  return text;
}

std::string libraryTime(const std::string& text) {
  constexpr size_t kDateDigits = 8;
  std::string time;
  for (const char c : text) {
    if (c != '-' && c != ':' && c != 'Z') {
      time += c;
    }
  }
  return time.size() == kDateDigits ? time + "T000000" : time;
}

std::optional<sys_seconds> fromLibraryTime(const std::string& text) {
  int year = 0;
  unsigned month = 0;
  unsigned day = 0;
  unsigned hour = 0;
  unsigned minute = 0;
  unsigned second = 0;
  if (std::sscanf(text.c_str(), "%4d%2u%2uT%2u%2u%2u", &year, &month, &day, &hour, &minute,
                  &second) != 6) {
    return std::nullopt;
  }
  const year_month_day date{std::chrono::year(year), std::chrono::month(month),
                            std::chrono::day(day)};
  return date.ok() ? std::optional<sys_seconds>(sys_days(date) + std::chrono::hours(hour) +
                                                std::chrono::minutes(minute) + seconds(second))
                   : std::nullopt;
}

}  // namespace vexahost
