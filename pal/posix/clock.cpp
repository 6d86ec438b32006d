#include "pal/posix/clock.h"

#include <time.h>

#include <chrono>
#include <cstdint>

namespace {

using std::chrono::day;
using std::chrono::days;
using std::chrono::month;
using std::chrono::sys_days;
using std::chrono::year;
using std::chrono::year_month_day;

constexpr std::uint64_t kTicksPerMillisecond = 10'000;
constexpr sys_days kFirstDay{year(1601) / 1 / 1};
constexpr int kFirstYear = 1601;
constexpr int kLastYear = 30827;

}  // namespace

void WINAPI GetSystemTime(LPSYSTEMTIME time) {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  const auto seconds = std::chrono::sys_seconds(std::chrono::seconds(now.tv_sec));
  const auto today = std::chrono::floor<days>(seconds);
  const year_month_day date(today);
  const std::chrono::hh_mm_ss clock(seconds - today);
  time->wYear = static_cast<WORD>(static_cast<int>(date.year()));
  time->wMonth = static_cast<WORD>(static_cast<unsigned>(date.month()));
  time->wDayOfWeek = static_cast<WORD>(std::chrono::weekday(today).c_encoding());
  time->wDay = static_cast<WORD>(static_cast<unsigned>(date.day()));
  time->wHour = static_cast<WORD>(clock.hours().count());
  time->wMinute = static_cast<WORD>(clock.minutes().count());
  time->wSecond = static_cast<WORD>(clock.seconds().count());
  time->wMilliseconds = static_cast<WORD>(now.tv_nsec / 1'000'000);
}

BOOL WINAPI SystemTimeToFileTime(const SYSTEMTIME* time, LPFILETIME fileTime) {
  const year_month_day date(year(time->wYear), month(time->wMonth), day(time->wDay));
  if (time->wYear < kFirstYear || time->wYear > kLastYear || !date.ok() || time->wHour > 23 ||
      time->wMinute > 59 || time->wSecond > 59 || time->wMilliseconds > 999) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  const auto wholeDays = static_cast<std::uint64_t>((sys_days(date) - kFirstDay).count());
  const std::uint64_t seconds =
      ((wholeDays * 24 + time->wHour) * 60 + time->wMinute) * 60 + time->wSecond;
  const std::uint64_t ticks = (seconds * 1000 + time->wMilliseconds) * kTicksPerMillisecond;
  fileTime->dwLowDateTime = static_cast<DWORD>(ticks);
  fileTime->dwHighDateTime = static_cast<DWORD>(ticks >> 32);
  return TRUE;
}
