#include <gtest/gtest.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <chrono>

#include "pal/posix/counters.h"
#include "pal/windows_api.h"

TEST(PosixSync, ClosedHandlesAreNotOpenAnyMore) {
  const std::size_t before = pal::posix::openHandles();
  HANDLE event = CreateEventA(nullptr, FALSE, FALSE, nullptr);
  HANDLE thread = CreateThread(
      nullptr, 0, [](void*) -> DWORD { return 0; }, nullptr, 0, nullptr);
  EXPECT_EQ(pal::posix::openHandles(), before + 2);
  CloseHandle(event);
  CloseHandle(thread);
  EXPECT_EQ(pal::posix::openHandles(), before);
}

TEST(PosixSync, ANumberIsNeverUsedTwice) {
  HANDLE first = CreateEventA(nullptr, FALSE, FALSE, nullptr);
  CloseHandle(first);
  HANDLE second = CreateEventA(nullptr, FALSE, FALSE, nullptr);
  EXPECT_NE(first, second);
  CloseHandle(second);
}

TEST(PosixSync, WhatIsNotBuiltFails) {
  SetLastError(0);
  EXPECT_EQ(CreateEventA(nullptr, FALSE, FALSE, "name"), nullptr);
  EXPECT_EQ(GetLastError(), ERROR_NOT_SUPPORTED);
  SetLastError(0);
  constexpr DWORD kCreateSuspended = 4;
  EXPECT_EQ(CreateThread(
                nullptr, 0, [](void*) -> DWORD { return 0; }, nullptr, kCreateSuspended, nullptr),
            nullptr);
  EXPECT_EQ(GetLastError(), ERROR_NOT_SUPPORTED);
}

namespace {

// Here, as a thread that was terminated is stopped and not gone.
void (*step)();
HANDLE running;

void expectATerminatedThreadToStopAt(void (*atStep)()) {
  step = atStep;
  running = CreateEventA(nullptr, FALSE, FALSE, nullptr);
  const auto body = [](void*) -> DWORD {
    for (;;) {
      step();
      SetEvent(running);
    }
  };
  HANDLE thread = CreateThread(nullptr, 0, body, nullptr, 0, nullptr);
  EXPECT_EQ(WaitForSingleObject(running, INFINITE), WAIT_OBJECT_0);
  EXPECT_TRUE(TerminateThread(thread, 0));
  EXPECT_EQ(WaitForSingleObject(thread, INFINITE), WAIT_OBJECT_0);
  // There is the signal of the last round, and perhaps that of the one that was under way.
  constexpr DWORD kMoreThanARoundTakes = 200;
  bool hasStopped = false;
  for (int signal = 0; signal <= 2 && !hasStopped; ++signal) {
    hasStopped = WaitForSingleObject(running, kMoreThanARoundTakes) == WAIT_TIMEOUT;
  }
  EXPECT_TRUE(hasStopped);
  CloseHandle(thread);
  CloseHandle(running);
}

}  // namespace

TEST(PosixSync, ATerminatedThreadStopsWhereItWouldEnterASection) {
  static CRITICAL_SECTION section;
  InitializeCriticalSection(&section);
  expectATerminatedThreadToStopAt([] {
    EnterCriticalSection(&section);
    LeaveCriticalSection(&section);
  });
  EnterCriticalSection(&section);  // it is not kept
  LeaveCriticalSection(&section);
}

TEST(PosixSync, ATerminatedThreadStopsWhereItWouldWaitForWhatIsNoHandle) {
  expectATerminatedThreadToStopAt([] { (void)WaitForSingleObject(nullptr, 0); });
}

TEST(PosixSync, ATerminatedThreadStopsWhereItWouldSleep) {
  expectATerminatedThreadToStopAt([] { Sleep(0); });
}

TEST(PosixSync, AThreadThatTerminatesItselfGoesNoFurther) {
  struct Shared {
    HANDLE known;
    HANDLE self;
    HANDLE behind;
  };
  static Shared shared{CreateEventA(nullptr, FALSE, FALSE, nullptr), nullptr,
                       CreateEventA(nullptr, FALSE, FALSE, nullptr)};
  const auto body = [](void*) -> DWORD {
    (void)WaitForSingleObject(shared.known, INFINITE);
    TerminateThread(shared.self, 0);
    SetEvent(shared.behind);
    return 0;
  };
  shared.self = CreateThread(nullptr, 0, body, nullptr, 0, nullptr);
  SetEvent(shared.known);
  EXPECT_EQ(WaitForSingleObject(shared.self, INFINITE), WAIT_OBJECT_0);
  constexpr DWORD kMoreThanItTakesToGoOn = 200;
  EXPECT_EQ(WaitForSingleObject(shared.behind, kMoreThanItTakesToGoOn), WAIT_TIMEOUT);
}

TEST(PosixSync, ASleepIsNotShorterThanAskedFor) {
  const auto start = std::chrono::steady_clock::now();
  Sleep(20);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(20));
}

TEST(PosixSync, AnEventfdOfTheHostIsSetAndReset) {
  const int descriptor = eventfd(0, EFD_NONBLOCK);
  ASSERT_GE(descriptor, 0);
  const auto event = reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(descriptor) << 2 | 1);
  uint64_t count = 0;
  EXPECT_TRUE(ResetEvent(event));
  EXPECT_TRUE(SetEvent(event));
  EXPECT_TRUE(SetEvent(event));
  EXPECT_EQ(read(descriptor, &count, sizeof(count)), ssize_t{sizeof(count)});
  EXPECT_EQ(count, 2u);
  EXPECT_TRUE(SetEvent(event));
  EXPECT_TRUE(ResetEvent(event));
  EXPECT_EQ(read(descriptor, &count, sizeof(count)), -1);
  close(descriptor);
  SetLastError(0);
  EXPECT_FALSE(SetEvent(event));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
  SetLastError(0);
  EXPECT_FALSE(ResetEvent(event));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
}
