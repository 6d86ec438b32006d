#include <gtest/gtest.h>

#include "base/event.h"
#include "base/lock.h"
#include "base/thread.h"

namespace vexa::base {
namespace {

struct Entry {
  CriticalSection& section;
  Event entered;
};
DWORD WINAPI enter(void* argument) {
  auto* const entry = static_cast<Entry*>(argument);
  { const ScopedLock lock(entry->section); }
  entry->entered.Signal();
  return 0;
}

// A section that was entered once more than left lets no other thread in.
TEST(ScopedLock, LockingTwiceEntersOnce) {
  StaticCriticalSection section;
  ScopedLock lock(section);
  lock.Lock();
  lock.Unlock();
  lock.Unlock();
  ScopedLock idle(section, false);
  idle.Lock();
  idle.Lock();
  {
    const ScopedLock nested(section);  // re-entrant for its owner
  }
  idle.Unlock();
  Entry entry{section, {}};
  Thread other;
  Thread::Start(&other, enter, &entry);
  constexpr uint32_t kLong = 60'000;
  EXPECT_TRUE(entry.entered.Wait(kLong));
  EXPECT_TRUE(other.Wait(kLong));
}

}  // namespace
}  // namespace vexa::base
