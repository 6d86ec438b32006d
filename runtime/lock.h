#pragma once

#if defined(_WIN32)
#include <windows.h>
#else
#include <mutex>
#endif

// A lock that needs no start and no end, so that it may stand in a constant-initialised object and
// take part in loading and unloading. (On Windows std::mutex would bring a thread library that
// leaves handles behind whenever the runtime is unloaded.) Used with std::lock_guard.
namespace vexa::velmora {

#if defined(_WIN32)

class Lock {
 public:
  constexpr Lock() = default;
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;

  void lock() { AcquireSRWLockExclusive(&lock_); }
  void unlock() { ReleaseSRWLockExclusive(&lock_); }

 private:
  SRWLOCK lock_ = SRWLOCK_INIT;
};

#else

using Lock = std::mutex;

#endif

}  // namespace vexa::velmora
