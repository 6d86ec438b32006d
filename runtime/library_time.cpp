#include "runtime/library_time.h"

#include <chrono>
#include <cstring>

namespace vexa::velmora {
namespace {

// `count` digits as a number; nothing when one of them is no digit.
std::optional<unsigned> digits(const char* text, int count) {
  unsigned value = 0;
  for (int i = 0; i < count; ++i) {
    if (text[i] < '0' || text[i] > '9') {
      return std::nullopt;
    }
    value = value * 10 + static_cast<unsigned>(text[i] - '0');
  }
  return value;
}

// Seconds of the day from "hhmmss".
std::optional<int64_t> secondsOfDay(const char* text) {
  const auto hour = digits(text, 2);
  const auto minute = digits(text + 2, 2);
  const auto second = digits(text + 4, 2);
  if (!hour || !minute || !second || *hour > 23 || *minute > 59 || *second > 59) {
    return std::nullopt;
  }
  return (int64_t{*hour} * 60 + *minute) * 60 + *second;
}

// Days since 1970 from "YYYYMMDD".
std::optional<int64_t> daysSinceEpoch(const char* text) {
  const auto year = digits(text, 4);
  const auto month = digits(text + 4, 2);
  const auto day = digits(text + 6, 2);
  if (!year || !month || !day) {
    return std::nullopt;
  }
  const std::chrono::year_month_day date(std::chrono::year(static_cast<int>(*year)),
                                         std::chrono::month(*month), std::chrono::day(*day));
  if (!date.ok()) {
    return std::nullopt;
  }
  return std::chrono::sys_days(date).time_since_epoch().count();
}

}  // namespace

std::optional<int64_t> libraryTimeSeconds(const char* text) {
  // memchr stops at the terminator, so that a shorter text is not read past its end.
  if (std::memchr(text, '\0', kLibraryTimeLength + 1) != text + kLibraryTimeLength ||
      text[8] != 'T') {
    return std::nullopt;
  }
  const auto days = daysSinceEpoch(text);
  const auto rest = secondsOfDay(text + 9);
  if (!days || !rest) {
    return std::nullopt;
  }
  return *days * 86400 + *rest;
}

}  // namespace vexa::velmora
