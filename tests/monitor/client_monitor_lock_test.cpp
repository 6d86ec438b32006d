#include <gtest/gtest.h>

#include "monitor_fixture.h"
#include "support/watched_locks.h"

// Which locks the monitor holds where.
namespace vexa::test {
namespace {

using MonitorLock = MonitorTest;

TEST_F(MonitorLock, IsHeldWhileTheNetworkIsLookedAt) {
  int held = -1;
  adapters().onQuery([&held](int) { held = heldLocks(); });
  EXPECT_EQ(monitor().checkNetwork(), kOk);
  EXPECT_EQ(held, 1);
  held = -1;
  EXPECT_EQ(monitor().reset(), kOk);
  EXPECT_EQ(held, 1);
  EXPECT_EQ(heldLocks(), 0);
  adapters().onQuery(nullptr);
}

TEST_F(MonitorLock, IsEnteredToCompareAndToFreeTheSnapshot) {
  void* snapshot = nullptr;
  EXPECT_EQ(lockEntriesOf([&] { EXPECT_EQ(monitor().takeSnapshot(&snapshot), kOk); }), 0);
  EXPECT_EQ(lockEntriesOf([&] { EXPECT_EQ(monitor().compareNetwork(snapshot), kOk); }), 1);
  EXPECT_EQ(lockEntriesOf([&] { EXPECT_EQ(monitor().freeSnapshot(), kOk); }), 1);
  if (snapshot != nullptr) {
    HeapFree(GetProcessHeap(), 0, snapshot);
  }
}

TEST_F(MonitorLock, OfTheThreadIsHeldWhileItIsStartedAndEnded) {
  EXPECT_EQ(monitor().start(1'000'000), kOk);
  EXPECT_EQ(heldLocksAtSignal(), 1);
  EXPECT_EQ(lockEntriesOf([this] { EXPECT_EQ(monitor().stop(), kOk); }), 1);
  EXPECT_EQ(heldLocksAtSignal(), 1);
}

TEST_F(MonitorLock, OfTheThreadIsHeldWhileTheModuleEndsIt) {
  EXPECT_EQ(monitor().start(1'000'000), kOk);
  stop();
  EXPECT_EQ(heldLocksAtSignal(), 1);
  EXPECT_EQ(heldLocks(), 0);
}

}  // namespace
}  // namespace vexa::test
