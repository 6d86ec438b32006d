#include <gtest/gtest.h>

#include "monitor_fixture.h"
#include "pal/posix/counters.h"
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
  HostEvent().set();
  ASSERT_EQ(heldLocksAtSignal(), 0);
  stop();
  EXPECT_EQ(heldLocksAtSignal(), 1);
  EXPECT_EQ(heldLocks(), 0);
}

// --- When the thread is told to end ---

class StopSignal : public MonitorTest {
 protected:
  void TearDown() override {
    onSignal(nullptr);
    MonitorTest::TearDown();
  }
};

TEST_F(StopSignal, ComesWhenTheThreadMayEndAlready) {
  int looks = 0;
  adapters().onQuery([this, &looks](int) {
    ++looks;
    monitor().setStatus(1);  // or this would go on for ever
  });
  // What the thread does that the signal wakes.
  onSignal([this] { EXPECT_EQ(monitor().changeThreadMain(), kOk); });
  EXPECT_EQ(monitor().stop(), kOk);
  EXPECT_EQ(looks, 0) << "it looked once more, and would wait again";
  adapters().onQuery(nullptr);
}

TEST_F(StopSignal, ComesAtTheModulesEndWhileTheHostHoldsTheMonitor) {
  const size_t handles = pal::posix::openHandles();
  EXPECT_EQ(monitor().start(1'000'000), kOk);
  EXPECT_EQ(pal::posix::openHandles(), handles + 1);
  int signals = 0;
  onSignal([&signals] { ++signals; });
  stop();
  EXPECT_EQ(signals, 1);
  EXPECT_EQ(pal::posix::openHandles(), handles) << "the thread has ended";
}

TEST_F(StopSignal, ComesWhenTheObjectGoes) {
  stop();
  EXPECT_EQ(monitor().start(1'000'000), kOk) << "on an object that the module has let go of";
  int signals = 0;
  onSignal([&signals] { ++signals; });
  monitor().release();
  EXPECT_EQ(signals, 1);
}

}  // namespace
}  // namespace vexa::test
