#pragma once

#include <gtest/gtest.h>

#include <cstdlib>

#include "support/process_counters.h"

// Something done again and again in one process.
namespace vexa::test {

// How often; VEXA_CYCLES asks for more than the normal run wants to wait for.
inline int cycles(int usually) {
  const char* const wanted = std::getenv("VEXA_CYCLES");
  return wanted != nullptr ? std::atoi(wanted) : usually;
}

// Libraries of the system that come and go with what is loaded keep a little each time. They stay
// loaded, so that only what is ours is counted.
inline void holdSystemLibraries() {
#if defined(_WIN32)
  for (const char* name : {"advapi32.dll", "crypt32.dll", "iphlpapi.dll", "ole32.dll",
                           "oleaut32.dll", "shlwapi.dll", "winhttp.dll", "ws2_32.dll"}) {
    LoadLibraryA(name);
  }
#endif
}

// After some cycles, in which the system gets what it keeps, nothing may change any more.
template <class Cycle>
void expectNothingLeftBy(Cycle cycle, int count) {
  constexpr int kFirst = 50;
  // On a loaded machine the system starts a thread of its own meanwhile, with a few handles. A heap
  // sets blocks aside for a size that comes often.
  constexpr int64_t kSystemsOwn = 8;
  [[maybe_unused]] constexpr int64_t kHeapsOwn = 12 * 1024;
  holdSystemLibraries();
  for (int i = 0; i < kFirst; ++i) {
    cycle();
  }
  const ProcessCounters before = ProcessCounters::now();
  for (int i = 0; i < count && !testing::Test::HasFailure(); ++i) {
    cycle();
  }
  const ProcessCounters after = ProcessCounters::now();
  testing::Test::RecordProperty("cycles", count);
  testing::Test::RecordProperty("before", testing::PrintToString(before));
  testing::Test::RecordProperty("after", testing::PrintToString(after));
  EXPECT_LE(after.handles - before.handles, kSystemsOwn);
  EXPECT_LE(after.threads - before.threads, kSystemsOwn);
  EXPECT_LE(before.freePlaces - after.freePlaces, kSystemsOwn);
  // Under a sanitizer memory tells nothing, as it keeps what is released.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
  EXPECT_LT(after.heapBytes - before.heapBytes, kHeapsOwn);
  EXPECT_LT(after.privateBytes - before.privateBytes, 256 * 1024);
#endif
}

}  // namespace vexa::test
