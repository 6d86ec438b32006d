#include <time.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <new>

#include "pal/posix/handles.h"
#include "pal/posix/thread_stop.h"

namespace {

using Clock = std::chrono::steady_clock;
using pal::posix::objectAs;
using pal::posix::openHandle;
using pal::posix::stopForever;
using pal::posix::stopIfTerminated;
using pal::posix::Waitable;

// A thread made by CreateThread.
//
//   running --its function returns--> ended --first successful wait--> joined
//      |                                |
//      +--terminate()--> terminated     +--last handle gone--> detached
//
// Waiting joins, so that after it the thread runs no more code: the library that holds its function
// may be unloaded.
class Thread final : public Waitable {
 public:
  Thread(LPTHREAD_START_ROUTINE start, LPVOID argument, DWORD id)
      : id_(id), start_(start), argument_(argument) {}
  ~Thread() override {
    if (owned_) {
      pthread_detach(thread_);
    }
  }

  // Starts the thread, which keeps `self` while it runs. False: the system has no more threads.
  static bool launch(const std::shared_ptr<Thread>& self, SIZE_T stackSize);

  void terminate();
  DWORD id() const { return id_; }

  bool isSignalled_locked() const override { return ended_; }
  void take_locked() override {
    if (!owned_ || terminated_.load(std::memory_order_relaxed) ||
        pthread_equal(thread_, pthread_self())) {
      return;
    }
    pthread_join(thread_, nullptr);  // it has passed its last use of `mutex`
    owned_ = false;
  }

 private:
  static void* run(void* self);
  void end() {
    const std::lock_guard lock(mutex);
    ended_ = true;
    changed.notify_all();
  }

  const DWORD id_;
  const LPTHREAD_START_ROUTINE start_;
  const LPVOID argument_;
  std::atomic<bool> terminated_{false};
  pthread_t thread_{};
  bool owned_ = false;  // thread_ is neither joined nor detached yet
  bool ended_ = false;
};

thread_local Thread* currentThread = nullptr;

std::atomic<DWORD> lastThreadId{0};

DWORD nextThreadId() { return lastThreadId.fetch_add(4) + 4; }

bool Thread::launch(const std::shared_ptr<Thread>& self, SIZE_T stackSize) {
  std::unique_ptr<std::shared_ptr<Thread>> kept(new (std::nothrow) std::shared_ptr<Thread>(self));
  pthread_attr_t attributes;
  if (!kept || pthread_attr_init(&attributes) != 0) {
    return false;
  }
  // A size that the system refuses leaves the default.
  if (stackSize != 0) {
    pthread_attr_setstacksize(&attributes, stackSize);
  }

  bool started = false;
  {
    // Held over the start, so that the new thread finds thread_ and owned_ in place.
    const std::lock_guard lock(self->mutex);
    started = pthread_create(&self->thread_, &attributes, &Thread::run, kept.get()) == 0;
    self->owned_ = started;
  }
  pthread_attr_destroy(&attributes);
  if (started) {
    static_cast<void>(kept.release());  // run() takes it over
  }
  return started;
}

void* Thread::run(void* self) {
  const std::unique_ptr<std::shared_ptr<Thread>> kept(static_cast<std::shared_ptr<Thread>*>(self));
  Thread& thread = **kept;
  currentThread = &thread;
  pal::posix::watchTermination(&thread.terminated_);
  // The exit code is nobody's: there is no call here that would ask for it.
  static_cast<void>(thread.start_(thread.argument_));
  stopIfTerminated();
  thread.end();
  pal::posix::watchTermination(nullptr);
  currentThread = nullptr;
  return nullptr;
}

void Thread::terminate() {
  terminated_.store(true, std::memory_order_relaxed);
  end();
  if (currentThread == this) {
    stopForever();
  }
}

// Where a thread sleeps, so that TerminateThread has nothing to wake: it just never goes on.
void sleepUntil(Clock::time_point deadline) {
  for (;;) {
    const auto left = std::chrono::duration_cast<std::chrono::nanoseconds>(deadline - Clock::now());
    if (left.count() <= 0) {
      return;
    }
    timespec time{};
    time.tv_sec = static_cast<time_t>(left.count() / 1'000'000'000);
    time.tv_nsec = static_cast<long>(left.count() % 1'000'000'000);
    nanosleep(&time, nullptr);
  }
}

}  // namespace

HANDLE WINAPI CreateThread(LPSECURITY_ATTRIBUTES, SIZE_T stackSize, LPTHREAD_START_ROUTINE start,
                           LPVOID argument, DWORD flags, LPDWORD threadId) {
  if (flags != 0) {
    SetLastError(ERROR_NOT_SUPPORTED);
    return nullptr;
  }
  try {
    const auto thread = std::make_shared<Thread>(start, argument, nextThreadId());
    HANDLE handle = openHandle(thread);
    // Before the start: the new thread may look at it.
    if (threadId != nullptr) {
      *threadId = thread->id();
    }
    if (!Thread::launch(thread, stackSize)) {
      CloseHandle(handle);
      SetLastError(ERROR_NOT_ENOUGH_MEMORY);
      return nullptr;
    }
    return handle;
  } catch (const std::bad_alloc&) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
}

BOOL WINAPI TerminateThread(HANDLE thread, DWORD) {
  const auto object = objectAs<Thread>(thread);
  if (!object) {
    return FALSE;
  }
  object->terminate();
  return TRUE;
}

DWORD WINAPI GetCurrentThreadId() {
  if (currentThread != nullptr) {
    return currentThread->id();
  }
  thread_local const DWORD id = nextThreadId();
  return id;
}

void WINAPI Sleep(DWORD milliseconds) {
  if (milliseconds == INFINITE) {
    stopForever();
  }
  sleepUntil(Clock::now() + std::chrono::milliseconds(milliseconds));
  stopIfTerminated();
}
