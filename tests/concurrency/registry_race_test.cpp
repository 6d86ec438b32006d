#include <gtest/gtest.h>

#include "base/class_registry.h"
#include "base/unload_registry.h"
#include "crowd.h"
#include "support/module_fixture.h"

// The lists of other components, which are kept for all threads.
namespace vexa::test {
namespace {

constexpr int kThreads = 8;
constexpr int kRounds = 40;

using RegistryRace = ModuleTest;

TEST_F(RegistryRace, ListsAreKeptWhileOthersAskWhetherTheyAre) {
  runCrowd(kThreads, [this](int thread) {
    for (int round = 0; round < kRounds; ++round) {
      if (thread % 2 == 0) {
        EXPECT_EQ(base::classFactories().GetFactory(FakeComponent::kName, true),
                  &spy.component.list);
      } else {
        (void)base::classFactories().isKept(&spy.component.list);
      }
    }
  });
  EXPECT_TRUE(base::classFactories().isKept(&spy.component.list));
}

TEST_F(RegistryRace, ListsAreLetGoWhileOthersAskWhetherTheyAreKept) {
  EXPECT_EQ(base::classFactories().GetFactory(FakeComponent::kName, true), &spy.component.list);
  runCrowd(kThreads, [this](int thread) {
    if (thread == 0) {
      EXPECT_EQ(base::classFactories().Unload(0), kOk);
      return;
    }
    for (int round = 0; round < kRounds; ++round) {
      (void)base::classFactories().isKept(&spy.component.list);
    }
  });
  EXPECT_FALSE(base::classFactories().isKept(&spy.component.list));
}

}  // namespace
}  // namespace vexa::test
