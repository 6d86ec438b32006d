#include "pal/posix/sync.h"

#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <new>
#include <unordered_map>

#include "pal/posix/counters.h"
#include "pal/posix/thread_stop.h"

namespace {

using Clock = std::chrono::steady_clock;
using pal::posix::isTerminated;
using pal::posix::stopForever;
using pal::posix::stopIfTerminated;

// What a handle stands for. `mutex` guards the members of the derived classes; `changed` wakes all
// that wait, because a thread that was terminated may be among them and must not take a signal.
class Waitable {
 public:
  virtual ~Waitable() = default;

  // Returns whether the object became signalled in time, and takes an automatic-reset signal.
  bool wait(DWORD milliseconds);

  virtual bool isSignalled_locked() const = 0;
  virtual void take_locked() = 0;

  std::mutex mutex;
  std::condition_variable changed;
};

class Event final : public Waitable {
 public:
  Event(bool manualReset, bool signalled) : manualReset_(manualReset), signalled_(signalled) {}

  void set() {
    const std::lock_guard lock(mutex);
    signalled_ = true;
    changed.notify_all();
  }
  void reset() {
    const std::lock_guard lock(mutex);
    signalled_ = false;
  }

  bool isSignalled_locked() const override { return signalled_; }
  void take_locked() override {
    if (!manualReset_) {
      signalled_ = false;
    }
  }

 private:
  const bool manualReset_;
  bool signalled_;
};

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

// Never destroyed: threads may outlive the static objects of the program.
struct HandleTable {
  std::mutex mutex;
  std::unordered_map<std::uintptr_t, std::shared_ptr<Waitable>> objects;
  std::uintptr_t last = 0;
};
HandleTable& handles() {
  static HandleTable table;
  return table;
}

HANDLE openHandle(std::shared_ptr<Waitable> object) {
  HandleTable& table = handles();
  const std::lock_guard lock(table.mutex);
  const std::uintptr_t number = table.last + 4;
  table.objects.emplace(number, std::move(object));
  table.last = number;
  return reinterpret_cast<HANDLE>(number);
}

// Handles are multiples of 4; a host's eventfd is told from them by its low bits.
constexpr std::uintptr_t kDescriptorMark = 1;

bool isDescriptor(HANDLE event) {
  return (reinterpret_cast<std::uintptr_t>(event) & 3) == kDescriptorMark;
}

int descriptorOf(HANDLE event) {
  return static_cast<int>(reinterpret_cast<std::uintptr_t>(event) >> 2);
}

BOOL setDescriptor(HANDLE event) {
  const uint64_t one = 1;
  if (write(descriptorOf(event), &one, sizeof(one)) == sizeof(one)) {
    return TRUE;
  }
  SetLastError(ERROR_INVALID_HANDLE);
  return FALSE;
}

// A counter of 0 is reset already.
BOOL resetDescriptor(HANDLE event) {
  uint64_t count = 0;
  if (read(descriptorOf(event), &count, sizeof(count)) == sizeof(count) || errno == EAGAIN) {
    return TRUE;
  }
  SetLastError(ERROR_INVALID_HANDLE);
  return FALSE;
}

// Null, with the last error set, when the handle is not open.
std::shared_ptr<Waitable> objectOf(HANDLE handle) {
  HandleTable& table = handles();
  const std::lock_guard lock(table.mutex);
  const auto found = table.objects.find(reinterpret_cast<std::uintptr_t>(handle));
  if (found != table.objects.end()) {
    return found->second;
  }
  SetLastError(ERROR_INVALID_HANDLE);
  return nullptr;
}

// The same for a handle that must be an event or a thread.
template <class T>
std::shared_ptr<T> objectAs(HANDLE handle) {
  auto object = std::dynamic_pointer_cast<T>(objectOf(handle));
  if (!object) {
    SetLastError(ERROR_INVALID_HANDLE);
  }
  return object;
}

bool Waitable::wait(DWORD milliseconds) {
  const auto deadline = Clock::now() + std::chrono::milliseconds(milliseconds);
  std::unique_lock lock(mutex);
  for (;;) {
    if (isTerminated()) {
      lock.unlock();
      stopForever();
    }
    if (isSignalled_locked()) {
      break;
    }
    if (milliseconds == INFINITE) {
      changed.wait(lock);
    } else if (milliseconds == 0 ||
               (changed.wait_until(lock, deadline) == std::cv_status::timeout &&
                !isSignalled_locked())) {
      return false;
    }
  }
  take_locked();
  return true;
}

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

namespace pal::posix {

std::size_t openHandles() {
  HandleTable& table = handles();
  const std::lock_guard lock(table.mutex);
  return table.objects.size();
}

}  // namespace pal::posix

HANDLE WINAPI CreateEventA(LPSECURITY_ATTRIBUTES, BOOL manualReset, BOOL signalled, LPCSTR name) {
  if (name != nullptr) {
    SetLastError(ERROR_NOT_SUPPORTED);
    return nullptr;
  }
  try {
    return openHandle(std::make_shared<Event>(manualReset != FALSE, signalled != FALSE));
  } catch (const std::bad_alloc&) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
}

BOOL WINAPI SetEvent(HANDLE event) {
  if (isDescriptor(event)) {
    return setDescriptor(event);
  }
  const auto object = objectAs<Event>(event);
  if (!object) {
    return FALSE;
  }
  object->set();
  return TRUE;
}

BOOL WINAPI ResetEvent(HANDLE event) {
  if (isDescriptor(event)) {
    return resetDescriptor(event);
  }
  const auto object = objectAs<Event>(event);
  if (!object) {
    return FALSE;
  }
  object->reset();
  return TRUE;
}

DWORD WINAPI WaitForSingleObject(HANDLE handle, DWORD milliseconds) {
  stopIfTerminated();
  const auto object = objectOf(handle);
  if (!object) {
    return WAIT_FAILED;
  }
  return object->wait(milliseconds) ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
}

BOOL WINAPI CloseHandle(HANDLE handle) {
  std::shared_ptr<Waitable> closed;  // destroyed after the table is left
  HandleTable& table = handles();
  const std::lock_guard lock(table.mutex);
  const auto found = table.objects.find(reinterpret_cast<std::uintptr_t>(handle));
  if (found == table.objects.end()) {
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
  }
  closed = std::move(found->second);
  table.objects.erase(found);
  return TRUE;
}

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
  stopIfTerminated();
  if (milliseconds == INFINITE) {
    stopForever();
  }
  sleepUntil(Clock::now() + std::chrono::milliseconds(milliseconds));
  stopIfTerminated();
}
