#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>

#include "pal/windows_api.h"

// What becomes of the system's threads behind ours: each is joined or detached, once.
namespace {

std::atomic<int> joined{0};
std::atomic<int> detached{0};
HANDLE detachedEvent = nullptr;

template <class Function>
Function* systems(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): theirs are reserved ones
extern "C" int pthread_join(pthread_t thread, void** result) {
  ++joined;
  return systems<int(pthread_t, void**)>("pthread_join")(thread, result);
}

// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): theirs is a reserved one
extern "C" int pthread_detach(pthread_t thread) noexcept {
  const int result = systems<int(pthread_t)>("pthread_detach")(thread);
  ++detached;
  SetEvent(detachedEvent);
  return result;
}

namespace {

class ThreadEnd : public testing::Test {
 protected:
  ThreadEnd() {
    detachedEvent = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    joined = detached = 0;
  }
  ~ThreadEnd() override { CloseHandle(detachedEvent); }

  static HANDLE start(LPTHREAD_START_ROUTINE body, void* argument) {
    return CreateThread(nullptr, 0, body, argument, 0, nullptr);
  }
  static bool waits(HANDLE handle) { return WaitForSingleObject(handle, 60'000) == WAIT_OBJECT_0; }
};

TEST_F(ThreadEnd, TheFirstWaitJoinsIt) {
  HANDLE thread = start([](void*) -> DWORD { return 0; }, nullptr);
  EXPECT_TRUE(waits(thread));
  EXPECT_TRUE(waits(thread));
  EXPECT_EQ(joined, 1);
  CloseHandle(thread);
  EXPECT_EQ(detached, 0) << "it is gone";
}

TEST_F(ThreadEnd, WithoutAWaitItIsDetached) {
  HANDLE go = CreateEventA(nullptr, FALSE, FALSE, nullptr);
  HANDLE thread = start([](void* event) -> DWORD { return waits(event) ? 0 : 1; }, go);
  CloseHandle(thread);
  EXPECT_EQ(detached, 0) << "it runs";
  SetEvent(go);
  EXPECT_TRUE(waits(detachedEvent));
  EXPECT_EQ(detached, 1);
  EXPECT_EQ(joined, 0);
  CloseHandle(go);
}

TEST_F(ThreadEnd, ATerminatedOneIsNotJoined) {
  // Outlives the thread, which is stopped and not gone.
  static HANDLE never = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  HANDLE thread = start([](void*) -> DWORD { return waits(never) ? 0 : 1; }, nullptr);
  EXPECT_TRUE(TerminateThread(thread, 0));
  EXPECT_TRUE(waits(thread)) << "a join would wait for ever";
  EXPECT_EQ(joined, 0);
  CloseHandle(thread);
}

}  // namespace
