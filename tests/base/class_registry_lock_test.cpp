#include <gtest/gtest.h>

#include "base/class_registry.h"
#include "support/module_fixture.h"
#include "support/watched_locks.h"

namespace vexa::base {
namespace {

using test::FakeComponent;

// What was held when the runtime was called; -1: it was not.
int heldAtBinding = -1;
int heldAtRelease = -1;
int heldAtDuplicate = -1;

class ClassRegistryLock : public test::ModuleTest {
 protected:
  void SetUp() override {
    ModuleTest::SetUp();
    static auto* const bind = spy.root.GetInterface;
    static auto* const release = spy.root.ReleaseInterface;
    static auto* const duplicate = spy.commonTypes.TextDuplicate;
    spy.root.GetInterface = [](const char* component, const char* name, const void** out) {
      heldAtBinding = test::heldLocks();
      return bind(component, name, out);
    };
    spy.root.ReleaseInterface = [](const void** holder) {
      heldAtRelease = test::heldLocks();
      return release(holder);
    };
    spy.commonTypes.TextDuplicate = [](const char* text) {
      heldAtDuplicate = test::heldLocks();
      return duplicate(text);
    };
    heldAtBinding = heldAtRelease = heldAtDuplicate = -1;
  }
};

TEST_F(ClassRegistryLock, IsHeldWhileAListIsBoundAndKept) {
  EXPECT_EQ(classFactories().GetFactory(FakeComponent::kName, true), &spy.component.list);
  EXPECT_EQ(heldAtBinding, 1);
  EXPECT_EQ(heldAtDuplicate, 1);
  EXPECT_EQ(test::heldLocks(), 0);
}

TEST_F(ClassRegistryLock, IsHeldWhileTheListsAreGivenBack) {
  EXPECT_EQ(classFactories().GetFactory(FakeComponent::kName, true), &spy.component.list);
  EXPECT_EQ(classFactories().Unload(0), kOk);
  EXPECT_EQ(heldAtRelease, 1);
  EXPECT_EQ(test::heldLocks(), 0);
}

TEST_F(ClassRegistryLock, IsEnteredToAskWhetherAListIsKept) {
  EXPECT_EQ(
      test::lockEntriesOf([this] { EXPECT_FALSE(classFactories().isKept(&spy.component.list)); }),
      1);
}

}  // namespace
}  // namespace vexa::base
