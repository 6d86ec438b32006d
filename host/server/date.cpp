#include "server/date.h"

#include <cstdio>

namespace vexahost {

std::tm utc(std::chrono::system_clock::time_point time) {
  const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
  std::tm parts{};
#ifdef _WIN32
  gmtime_s(&parts, &seconds);
#else
  gmtime_r(&seconds, &parts);
#endif
  return parts;
}

// Not with strftime, whose names of days and months are the locale's.
std::string httpDate(std::chrono::system_clock::time_point time) {
  static constexpr const char* kDays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  static constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                            "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  const std::tm parts = utc(time);
  char text[64];
  std::snprintf(text, sizeof(text), "%s, %02d %s %04d %02d:%02d:%02d GMT", kDays[parts.tm_wday],
                parts.tm_mday, kMonths[parts.tm_mon], parts.tm_year + 1900, parts.tm_hour,
                parts.tm_min, parts.tm_sec);
  return text;
}

const std::string& DateClock::text(std::chrono::system_clock::time_point now) {
  const std::time_t second = std::chrono::system_clock::to_time_t(now);
  if (second != second_) {
    second_ = second;
    text_ = httpDate(now);
  }
  return text_;
}

}  // namespace vexahost
