#include "time/timeapi_list.h"

#include "base/list_registry.h"
#include "base/tables.h"
#include "pal/windows_api.h"

namespace vexa::time {
namespace {

constexpr uint32_t kUnitMask = 0x0F;
constexpr uint32_t kEpochMask = 0xF0;
constexpr uint32_t kFormatMask = kUnitMask | kEpochMask;

constexpr uint64_t ticksPerCount(uint32_t format) {
  switch (format & kUnitMask) {
    case kTimeSeconds:
      return 10'000'000;
    case kTimeMilliseconds:
      return 10'000;
    case kTimeMicroseconds:
      return 10;
    default:
      return 1;
  }
}

uint64_t GetCurrentFileTime() {
  SYSTEMTIME now;
  FILETIME ticks{};
  GetSystemTime(&now);
  SystemTimeToFileTime(&now, &ticks);
  return uint64_t{ticks.dwHighDateTime} << 32 | ticks.dwLowDateTime;
}

// Where the epoch lies, in ticks since 1601-01-01.
uint64_t epochTicks(uint32_t epoch) {
  switch (epoch) {
    case kTimeSinceFileTime:
      return 0;
    case kTimeSinceUnix:
      return kUnixEpochTicks;
    default:
      return GetCurrentFileTime();
  }
}

// Unsigned arithmetic that wraps: a moment before the target's epoch comes out huge.
uint64_t ConvertTime(uint64_t value, uint32_t from, uint32_t to) {
  from &= kFormatMask;
  to &= kFormatMask;
  if (from == to) {
    return value;
  }
  uint64_t ticks = value * ticksPerCount(from);
  const uint32_t fromEpoch = from & kEpochMask;
  const uint32_t toEpoch = to & kEpochMask;
  if (fromEpoch != toEpoch) {
    // Two relative epochs that differ in name read the clock twice.
    ticks += epochTicks(fromEpoch);
    ticks -= epochTicks(toEpoch);
  }
  return ticks / ticksPerCount(to);
}

uint64_t ConvertLibraryTime(const runtime::LibraryTime* time, uint32_t to) {
  uint64_t seconds = 0;
  (void)base::bound.time->ToUnixSeconds(time, &seconds);  // on failure it stays 0
  return ConvertTime(seconds, kUnixSecondsFormat, to);
}

}  // namespace

constinit const TimeList kTimeList = {
    .GetModuleInfo = base::GetModuleInfo<kTimeListName>,
    .GetCurrentFileTime = GetCurrentFileTime,
    .ConvertTime = ConvertTime,
    .ConvertLibraryTime = ConvertLibraryTime,
};

}  // namespace vexa::time
