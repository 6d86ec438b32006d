#pragma once

#include "pal/posix/error.h"

// The time of day, UTC, as Windows counts it.

struct SYSTEMTIME {
  WORD wYear;
  WORD wMonth;      // 1 to 12
  WORD wDayOfWeek;  // 0 is Sunday
  WORD wDay;        // 1 to 31
  WORD wHour;
  WORD wMinute;
  WORD wSecond;
  WORD wMilliseconds;
};
using LPSYSTEMTIME = SYSTEMTIME*;
static_assert(sizeof(SYSTEMTIME) == 16);

extern "C" {
void WINAPI GetSystemTime(LPSYSTEMTIME time);

// 100-nanosecond ticks since 1601-01-01. The day of the week is not looked at. FALSE with
// ERROR_INVALID_PARAMETER for a moment that does not exist or lies before 1601 or after 30827.
BOOL WINAPI SystemTimeToFileTime(const SYSTEMTIME* time, LPFILETIME fileTime);
}
