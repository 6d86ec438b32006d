#pragma once

#include "vexa/runtime/slots.h"
#include "vexa/runtime/table_traits.h"

namespace vexa::runtime {

inline constexpr char kTimeName[] = "SEC_TIME_1";

// "SEC_TIME_1". A library time is opaque: only the runtime looks inside.
struct LibraryTime;
struct TimeTable {
  Reserved reserved0;
  int32_t (*ToUnixSeconds)(const LibraryTime* time, uint64_t* seconds);  // untouched on failure
};
VEXA_FIXED_SLOT(TimeTable, ToUnixSeconds, 1);
template <>
struct TableTraits<TimeTable> {
  static constexpr const char* kComponent = nullptr;
  static constexpr const char* kName = kTimeName;
};

}  // namespace vexa::runtime
