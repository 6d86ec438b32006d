#pragma once

#include <cstdint>

#include "base/windows_holders.h"

namespace vexa::base {

// Holds a thread's handle. Owned by one object, not shared.
class Thread {
 public:
  Thread() = default;
  Thread(const Thread&) = delete;
  Thread& operator=(const Thread&) = delete;
  ~Thread() = default;

  // Starts a thread and stores it in `holder`; with a null holder the thread is detached. On
  // failure the holder holds no thread.
  static void Start(Thread* holder, LPTHREAD_START_ROUTINE function, void* argument);
  // True when the thread has ended within the time; the holder is then empty. False without one.
  bool Wait(uint32_t milliseconds);
  // Ends the thread by force and forgets it; its id stays.
  void Terminate();
  void Close();

  HANDLE handle() const { return handle_.get(); }
  uint32_t id() const { return id_; }

 private:
  KernelHandle handle_;
  uint32_t id_ = 0;
};

}  // namespace vexa::base
