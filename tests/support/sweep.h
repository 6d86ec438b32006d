#pragma once

#include <gtest/gtest.h>

#include <cstdint>

#include "support/allocation_gate.h"
#include "support/spy_runtime.h"

namespace vexa::test {

// What an operation does about a failed allocation.
enum class Shortage { kFails, kMayDoWithout };

// Runs `operation` with its 1st allocation failing, then with its 2nd, and so on, each time alone
// and together with all that follow, until it needs no more; then once without failure, when it
// must return true. The operation releases whatever it made, on its failure paths too: after each
// run as many blocks must live as before. Returns the number of allocations that failed alone.
template <class Operation>
int sweepAllocations(SpyRuntime& spy, Operation operation, Shortage shortage = Shortage::kFails) {
  constexpr int kLimit = 10000;
  int swept = 0;
  for (; swept < kLimit; ++swept) {
    for (const bool andAllAfter : {false, true}) {
      const int64_t before = spy.liveBlocks() + allocation_gate::liveProcessBlocks();
      allocation_gate::failAt(static_cast<uint64_t>(swept) + 1, andAllAfter);
      const bool done = operation();
      const bool failedOne = allocation_gate::refused() != 0;
      allocation_gate::neverFail();
      EXPECT_EQ(spy.liveBlocks() + allocation_gate::liveProcessBlocks(), before)
          << "blocks alive after allocation " << swept + 1
          << (andAllAfter ? " and all behind it" : "") << " failed";
      EXPECT_FALSE(done && failedOne && shortage == Shortage::kFails)
          << "the operation succeeds without allocation " << swept + 1;
      if (!failedOne) {
        EXPECT_TRUE(done) << "the operation fails without a failed allocation";
        return swept;
      }
    }
  }
  ADD_FAILURE() << "the operation needs more than " << kLimit << " allocations";
  return swept;
}

}  // namespace vexa::test
