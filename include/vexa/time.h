#pragma once

#include "vexa/module.h"
#include "vexa/runtime/time_table.h"

namespace vexa {

inline constexpr char kTimeListName[] = "timeapi";

// A time format: what one count is (low four bits) and where zero lies (high four bits). Only the
// low byte counts. Other unit values are ticks, other zero points are relative: the value is a span
// from now on.
enum TimeFormat : uint32_t {
  kTimeSeconds = 0x01,
  kTimeMilliseconds = 0x02,
  kTimeMicroseconds = 0x04,
  kTimeTicks = 0x08,  // 100 nanoseconds
  kTimeSinceNow = 0x00,
  kTimeSinceFileTime = 0x10,  // 1601-01-01 00:00 UTC
  kTimeSinceUnix = 0x20,      // 1970-01-01 00:00 UTC

  kFileTimeFormat = kTimeSinceFileTime | kTimeTicks,
  kUnixSecondsFormat = kTimeSinceUnix | kTimeSeconds,
  kUnixMillisecondsFormat = kTimeSinceUnix | kTimeMilliseconds,
  kSecondsFromNowFormat = kTimeSinceNow | kTimeSeconds,
};

// Ticks from 1601-01-01 to 1970-01-01.
inline constexpr uint64_t kUnixEpochTicks = 116444736000000000u;

// The list "timeapi". Nothing fails; no slot keeps state; any thread may call any of them.
struct TimeList {
  GetModuleInfoFunction GetModuleInfo;
  // The current UTC time in ticks since 1601-01-01 (a FILETIME).
  uint64_t (*GetCurrentFileTime)();
  // Converts between formats. Equal formats give the value back, relative ones too. Arithmetic is
  // unsigned 64-bit throughout: products and differences wrap (a moment before 1970 in a Unix
  // format is huge), quotients are truncated.
  uint64_t (*ConvertTime)(uint64_t value, uint32_t from, uint32_t to);
  // Converts a time of the crypto runtime. One that the runtime refuses counts as 1970-01-01.
  uint64_t (*ConvertLibraryTime)(const runtime::LibraryTime* time, uint32_t to);
};
template <>
struct ListTraits<TimeList> {
  static constexpr const char* kName = kTimeListName;
  static constexpr ListSlot kSlots[] = {
      VEXA_LIST_SLOT(TimeList, GetModuleInfo, 0),
      VEXA_LIST_SLOT(TimeList, GetCurrentFileTime, 1),
      VEXA_LIST_SLOT(TimeList, ConvertTime, 2),
      VEXA_LIST_SLOT(TimeList, ConvertLibraryTime, 3),
  };
};
static_assert(namesEverySlot<TimeList>());

}  // namespace vexa
