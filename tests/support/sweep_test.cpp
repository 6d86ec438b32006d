#include "support/sweep.h"

#include <gtest/gtest-spi.h>

#include "runtime/heap.h"

namespace vexa::test {
namespace {

TEST(SweepAllocations, FailsEachAllocationOfTheOperation) {
  SpyRuntime spy;
  int runs = 0;
  const int swept = sweepAllocations(spy, [&] {
    ++runs;
    void* const first = velmora::allocateBlock(1);
    void* const second = velmora::allocateBlock(1);
    const bool done = first != nullptr && second != nullptr;
    velmora::freeBlock(first);
    velmora::freeBlock(second);
    return done;
  });
  EXPECT_EQ(swept, 2);
  EXPECT_EQ(runs, 5);  // alone and with all behind it, and the one that succeeds
}

TEST(SweepAllocations, TellsALeakOnAFailurePath) {
  static void* leaked = nullptr;
  static SpyRuntime* spy = nullptr;
  SpyRuntime owner;
  spy = &owner;
  EXPECT_NONFATAL_FAILURE(
      {
        sweepAllocations(*spy, [] {
          void* const first = velmora::allocateBlock(1);
          void* const second = velmora::allocateBlock(1);
          if (first != nullptr && second == nullptr && leaked == nullptr) {
            leaked = first;
            return false;
          }
          velmora::freeBlock(first);
          velmora::freeBlock(second);
          return first != nullptr && second != nullptr;
        });
      },
      "blocks alive");
  velmora::freeBlock(leaked);
}

TEST(SweepAllocations, TellsASuccessWithoutMemoryUnlessItMayBe) {
  SpyRuntime spy;
  const auto succeeds = [] {
    velmora::freeBlock(velmora::allocateBlock(1));
    return true;
  };
  EXPECT_EQ(sweepAllocations(spy, succeeds, Shortage::kMayDoWithout), 1);
  ::testing::TestPartResultArray told;
  {
    const ::testing::ScopedFakeTestPartResultReporter reporter(
        ::testing::ScopedFakeTestPartResultReporter::INTERCEPT_ONLY_CURRENT_THREAD, &told);
    EXPECT_EQ(sweepAllocations(spy, succeeds), 1);
  }
  EXPECT_EQ(told.size(), 2) << "alone, and with all behind it";
}

}  // namespace
}  // namespace vexa::test
