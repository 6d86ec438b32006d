#pragma once

#include <functional>

// The critical sections that the calling thread holds, each entry counted, in a test program that
// is linked with vexa_watched_locks. A dropped lock shows in no result; here it does.
namespace vexa::test {

int heldLocks();

// What the calling thread held when it last set an event; -1 when it never did.
int heldLocksAtSignal();

// Runs behind each event that the calling thread sets, but not behind those that it sets itself.
// Null: nothing does.
void onSignal(std::function<void()> hook);

// How often the calling thread has entered one so far.
int lockEntries();

// How often it does in `operation`.
template <class Operation>
int lockEntriesOf(Operation operation) {
  const int before = lockEntries();
  operation();
  return lockEntries() - before;
}

}  // namespace vexa::test
