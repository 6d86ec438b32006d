#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <vector>

#include "pal/windows_api.h"

namespace {

struct Closes {
  void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, Closes>;

HANDLE automaticEvent() { return CreateEventA(nullptr, FALSE, FALSE, nullptr); }
HANDLE manualEvent() { return CreateEventA(nullptr, TRUE, FALSE, nullptr); }
HANDLE startThread(LPTHREAD_START_ROUTINE start, void* argument, DWORD* id = nullptr) {
  return CreateThread(nullptr, 0, start, argument, 0, id);
}
bool isSignalled(HANDLE handle) { return WaitForSingleObject(handle, 0) == WAIT_OBJECT_0; }
bool waits(HANDLE handle) { return WaitForSingleObject(handle, INFINITE) == WAIT_OBJECT_0; }

// A number that no handle has.
const HANDLE kNoHandle = reinterpret_cast<HANDLE>(std::uintptr_t{0x7FFF1230});

}  // namespace

TEST(Event, IsNotSignalledAtFirst) {
  const Handle event(automaticEvent());
  ASSERT_NE(event.get(), nullptr);
  EXPECT_EQ(WaitForSingleObject(event.get(), 0), DWORD{WAIT_TIMEOUT});
}

TEST(Event, MayStartSignalled) {
  const Handle event(CreateEventA(nullptr, FALSE, TRUE, nullptr));
  EXPECT_TRUE(isSignalled(event.get()));
}

TEST(Event, AutomaticOneIsTakenByTheWait) {
  const Handle event(automaticEvent());
  EXPECT_TRUE(SetEvent(event.get()));
  EXPECT_TRUE(isSignalled(event.get()));
  EXPECT_FALSE(isSignalled(event.get()));
}

TEST(Event, AutomaticOneHoldsOneSignalOnly) {
  const Handle event(automaticEvent());
  SetEvent(event.get());
  SetEvent(event.get());
  EXPECT_TRUE(isSignalled(event.get()));
  EXPECT_FALSE(isSignalled(event.get()));
}

TEST(Event, ManualOneStaysSignalled) {
  const Handle event(manualEvent());
  SetEvent(event.get());
  EXPECT_TRUE(isSignalled(event.get()));
  EXPECT_TRUE(isSignalled(event.get()));
  EXPECT_TRUE(ResetEvent(event.get()));
  EXPECT_FALSE(isSignalled(event.get()));
}

TEST(Event, WaitGivesUpAfterItsTime) {
  const Handle event(automaticEvent());
  EXPECT_EQ(WaitForSingleObject(event.get(), 5), DWORD{WAIT_TIMEOUT});
}

TEST(Event, WakesAThreadThatWaits) {
  const Handle event(automaticEvent());
  const Handle thread(startThread([](void* e) -> DWORD { return waits(e) ? 1 : 0; }, event.get()));
  SetEvent(event.get());
  EXPECT_TRUE(waits(thread.get()));
  EXPECT_FALSE(isSignalled(event.get())) << "the thread took the signal";
}

TEST(Event, AutomaticOneLetsOneThreadThroughPerSignal) {
  struct Shared {
    HANDLE gate;
    HANDLE passed;
    std::atomic<int> count;
  } shared{automaticEvent(), automaticEvent(), 0};
  const Handle gate(shared.gate);
  const Handle passed(shared.passed);
  const auto body = [](void* p) -> DWORD {
    auto& all = *static_cast<Shared*>(p);
    waits(all.gate);
    ++all.count;
    SetEvent(all.passed);
    return 0;
  };
  const Handle first(startThread(body, &shared));
  const Handle second(startThread(body, &shared));
  SetEvent(shared.gate);
  EXPECT_TRUE(waits(shared.passed));
  EXPECT_EQ(shared.count, 1);
  SetEvent(shared.gate);
  EXPECT_TRUE(waits(first.get()));
  EXPECT_TRUE(waits(second.get()));
  EXPECT_EQ(shared.count, 2);
}

TEST(Handles, AClosedOneIsRefused) {
  HANDLE event = automaticEvent();
  EXPECT_TRUE(CloseHandle(event));
  SetLastError(0);
  EXPECT_FALSE(SetEvent(event));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
}

TEST(Handles, EveryCallRefusesWhatIsNoHandle) {
  SetLastError(0);
  EXPECT_FALSE(CloseHandle(kNoHandle));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
  SetLastError(0);
  EXPECT_FALSE(ResetEvent(kNoHandle));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
  SetLastError(0);
  EXPECT_FALSE(TerminateThread(kNoHandle, 0));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
  SetLastError(0);
  EXPECT_EQ(WaitForSingleObject(kNoHandle, 0), DWORD{WAIT_FAILED});
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
}

TEST(Handles, AThreadIsNoEventAndAnEventNoThread) {
  const Handle event(automaticEvent());
  const Handle thread(startThread([](void*) -> DWORD { return 0; }, nullptr));
  SetLastError(0);
  EXPECT_FALSE(SetEvent(thread.get()));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
  SetLastError(0);
  EXPECT_FALSE(TerminateThread(event.get(), 0));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
  EXPECT_TRUE(waits(thread.get()));
}

TEST(Thread, RunsItsFunctionWithItsArgument) {
  std::atomic<int> seen{0};
  const auto body = [](void* p) -> DWORD {
    *static_cast<std::atomic<int>*>(p) = 7;
    return 0;
  };
  const Handle thread(startThread(body, &seen));
  ASSERT_NE(thread.get(), nullptr);
  EXPECT_TRUE(waits(thread.get()));
  EXPECT_EQ(seen, 7);
}

TEST(Thread, StaysSignalledOnceItHasEnded) {
  const Handle thread(startThread([](void*) -> DWORD { return 0; }, nullptr));
  EXPECT_TRUE(waits(thread.get()));
  EXPECT_TRUE(isSignalled(thread.get()));
}

TEST(Thread, IsNotSignalledWhileItRuns) {
  const Handle event(manualEvent());
  const Handle thread(startThread([](void* e) -> DWORD { return waits(e) ? 0 : 1; }, event.get()));
  EXPECT_EQ(WaitForSingleObject(thread.get(), 0), DWORD{WAIT_TIMEOUT});
  EXPECT_EQ(WaitForSingleObject(thread.get(), 1), DWORD{WAIT_TIMEOUT});
  SetEvent(event.get());
  EXPECT_TRUE(waits(thread.get()));
}

TEST(Thread, KnowsItselfByTheNumberThatItsCreatorGot) {
  DWORD inside = 0;
  DWORD given = 0;
  const auto body = [](void* p) -> DWORD {
    *static_cast<DWORD*>(p) = GetCurrentThreadId();
    return 0;
  };
  const Handle thread(startThread(body, &inside, &given));
  EXPECT_TRUE(waits(thread.get()));
  EXPECT_EQ(inside, given);
  EXPECT_NE(given, 0u);
  EXPECT_NE(given, GetCurrentThreadId());
}

TEST(Thread, RunsOnWhenItsHandleIsClosed) {
  const Handle event(automaticEvent());
  CloseHandle(startThread([](void* e) -> DWORD { return SetEvent(e) ? 0 : 1; }, event.get()));
  EXPECT_TRUE(waits(event.get()));
}

TEST(Thread, ManyThreadsMayWaitForOne) {
  const Handle event(manualEvent());
  const Handle first(startThread([](void* e) -> DWORD { return waits(e) ? 0 : 1; }, event.get()));
  const auto wait = [](void* thread) -> DWORD { return waits(thread) ? 0 : 1; };
  const Handle second(startThread(wait, first.get()));
  const Handle third(startThread(wait, first.get()));
  SetEvent(event.get());
  EXPECT_TRUE(waits(second.get()));
  EXPECT_TRUE(waits(third.get()));
}

TEST(Thread, TerminatedOneCountsAsEndedAndTakesNoMoreSignals) {
  struct Shared {
    HANDLE running;
    HANDLE never;
    HANDLE passed;
  };
  // Outlives the thread, which here is stopped and not gone.
  static Shared shared{automaticEvent(), automaticEvent(), automaticEvent()};
  const auto body = [](void*) -> DWORD {
    SetEvent(shared.running);
    waits(shared.never);
    SetEvent(shared.passed);
    return 0;
  };
  const Handle thread(startThread(body, nullptr));
  constexpr DWORD kMoreThanItTakesToWake = 200;
  EXPECT_TRUE(waits(shared.running));
  EXPECT_EQ(WaitForSingleObject(shared.passed, kMoreThanItTakesToWake), DWORD{WAIT_TIMEOUT});
  EXPECT_TRUE(TerminateThread(thread.get(), 0));
  EXPECT_TRUE(waits(thread.get()));

  SetEvent(shared.never);
  EXPECT_EQ(WaitForSingleObject(shared.passed, kMoreThanItTakesToWake), DWORD{WAIT_TIMEOUT});
  EXPECT_TRUE(isSignalled(shared.never));
  CloseHandle(shared.running);
  CloseHandle(shared.never);
  CloseHandle(shared.passed);
}

TEST(CriticalSection, MayBeEnteredAgainByItsOwner) {
  CRITICAL_SECTION section;
  InitializeCriticalSection(&section);
  EnterCriticalSection(&section);
  EnterCriticalSection(&section);
  LeaveCriticalSection(&section);
  LeaveCriticalSection(&section);
  DeleteCriticalSection(&section);
}

TEST(CriticalSection, KeepsOthersOutUntilItIsLeftAsOftenAsEntered) {
  struct Shared {
    CRITICAL_SECTION section;
    HANDLE started;
    std::atomic<bool> inside;
  } shared{};
  InitializeCriticalSection(&shared.section);
  shared.started = automaticEvent();
  EnterCriticalSection(&shared.section);
  EnterCriticalSection(&shared.section);
  const auto body = [](void* p) -> DWORD {
    auto& all = *static_cast<Shared*>(p);
    SetEvent(all.started);
    EnterCriticalSection(&all.section);
    all.inside = true;
    LeaveCriticalSection(&all.section);
    return 0;
  };
  {
    const Handle thread(startThread(body, &shared));
    EXPECT_TRUE(waits(shared.started));
    LeaveCriticalSection(&shared.section);
    EXPECT_FALSE(shared.inside);
    LeaveCriticalSection(&shared.section);
    EXPECT_TRUE(waits(thread.get()));
  }
  EXPECT_TRUE(shared.inside);
  CloseHandle(shared.started);
  DeleteCriticalSection(&shared.section);
}

TEST(CriticalSection, NoIncrementIsLostUnderIt) {
  struct Shared {
    CRITICAL_SECTION section;
    int count;  // plain: the section guards it
  } shared{};
  InitializeCriticalSection(&shared.section);
  const auto body = [](void* p) -> DWORD {
    auto& all = *static_cast<Shared*>(p);
    for (int i = 0; i < 2000; ++i) {
      EnterCriticalSection(&all.section);
      ++all.count;
      LeaveCriticalSection(&all.section);
    }
    return 0;
  };
  {
    const Handle first(startThread(body, &shared));
    const Handle second(startThread(body, &shared));
    EXPECT_TRUE(waits(first.get()));
    EXPECT_TRUE(waits(second.get()));
  }
  EXPECT_EQ(shared.count, 4000);
  DeleteCriticalSection(&shared.section);
}

TEST(Sleep, OfNothingReturns) { Sleep(0); }
