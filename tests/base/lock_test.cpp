#include "base/lock.h"

#include <gtest/gtest.h>

#include "support/watched_locks.h"

namespace vexa::base {
namespace {

using test::heldLocks;
using test::lockEntriesOf;

TEST(ScopedLock, HoldsItsSectionToTheEndOfTheScope) {
  StaticCriticalSection section;
  {
    const ScopedLock lock(section);
    EXPECT_EQ(heldLocks(), 1);
  }
  EXPECT_EQ(heldLocks(), 0);
}

TEST(ScopedLock, EntersOnceHoweverOftenItLocks) {
  StaticCriticalSection section;
  EXPECT_EQ(lockEntriesOf([&section] {
              ScopedLock lock(section);
              lock.Lock();
              lock.Lock();
              EXPECT_EQ(heldLocks(), 1);
            }),
            1);
  EXPECT_EQ(heldLocks(), 0);
}

TEST(ScopedLock, LeavesOnceHoweverOftenItUnlocks) {
  StaticCriticalSection section;
  const ScopedLock outer(section);
  {
    ScopedLock lock(section);
    lock.Unlock();
    EXPECT_EQ(heldLocks(), 1);
    lock.Unlock();
    EXPECT_EQ(heldLocks(), 1);
  }
  EXPECT_EQ(heldLocks(), 1);
}

TEST(ScopedLock, LeavesTheSectionAloneUntilItIsAsked) {
  StaticCriticalSection section;
  ScopedLock lock(section, false);
  EXPECT_EQ(heldLocks(), 0);
  lock.Lock();
  EXPECT_EQ(heldLocks(), 1);
  lock.Unlock();
  EXPECT_EQ(heldLocks(), 0);
}

}  // namespace
}  // namespace vexa::base
