#include "support/watched_locks.h"

#include <utility>

#include "pal/windows_api.h"

namespace vexa::test {
namespace {

thread_local int held = 0;
thread_local int heldAtSignal = -1;
thread_local int entries = 0;
thread_local std::function<void()> signalHook;

}  // namespace

int heldLocks() { return held; }

int heldLocksAtSignal() { return heldAtSignal; }

void onSignal(std::function<void()> hook) { signalHook = std::move(hook); }

int lockEntries() { return entries; }

}  // namespace vexa::test

// The linker leads all calls of these functions here (--wrap).
extern "C" {

void WINAPI __real_EnterCriticalSection(LPCRITICAL_SECTION section);
void WINAPI __real_LeaveCriticalSection(LPCRITICAL_SECTION section);
BOOL WINAPI __real_SetEvent(HANDLE event);

void WINAPI __wrap_EnterCriticalSection(LPCRITICAL_SECTION section) {
  __real_EnterCriticalSection(section);
  ++vexa::test::held;
  ++vexa::test::entries;
}

void WINAPI __wrap_LeaveCriticalSection(LPCRITICAL_SECTION section) {
  --vexa::test::held;
  __real_LeaveCriticalSection(section);
}

BOOL WINAPI __wrap_SetEvent(HANDLE event) {
  vexa::test::heldAtSignal = vexa::test::held;
  const BOOL result = __real_SetEvent(event);
  // Not for the events that it sets itself.
  if (const auto hook = std::exchange(vexa::test::signalHook, nullptr)) {
    hook();
    vexa::test::signalHook = hook;
  }
  return result;
}

}  // extern "C"
