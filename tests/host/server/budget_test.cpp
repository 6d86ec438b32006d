#include "server/budget.h"

#include <gtest/gtest.h>

namespace vexahost {
namespace {

TEST(Budget, TakesThirtyTwoMebibytesInAll) {
  constexpr size_t kMebibyte = 1024 * 1024;
  Budget budget;
  for (int i = 0; i < 31; ++i) {
    EXPECT_TRUE(budget.take(kMebibyte));
  }
  EXPECT_FALSE(budget.take(kMebibyte + 1));
  EXPECT_TRUE(budget.take(kMebibyte));
  EXPECT_TRUE(budget.take(0));
  EXPECT_FALSE(budget.take(1));
}

TEST(Budget, HasRoomAgainForWhatWasGivenBack) {
  Budget budget;
  ASSERT_TRUE(budget.take(Budget::kMost));
  budget.give(10);
  EXPECT_FALSE(budget.take(11));
  EXPECT_TRUE(budget.take(10));
  EXPECT_FALSE(budget.take(SIZE_MAX));
}

TEST(Budget, MayBeOfAnotherSize) {
  Budget budget(10);
  EXPECT_FALSE(budget.take(11));
  EXPECT_TRUE(budget.take(10));
  EXPECT_FALSE(budget.take(1));
}

}  // namespace
}  // namespace vexahost
