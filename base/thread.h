#pragma once

#include <cstdint>

#include "base/windows_holders.h"
#include "pal/own_library.h"

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
  // The same for a thread that runs `kFunction`, during which the module stays loaded (on Windows),
  // whatever its host lets go of. `holder` is not null.
  template <LPTHREAD_START_ROUTINE kFunction>
  static void StartHeld(Thread* holder, void* argument) {
    Library held(pal::holdOwnLibrary());
    Start(holder, runHeld<kFunction>, argument);
    if (holder->handle_) {
      (void)held.release();  // the thread's now
    }
  }
  // True when the thread has ended within the time; the holder is then empty. False without one.
  bool Wait(uint32_t milliseconds);
  // Ends the thread by force and forgets it; its id stays. Nothing in the module does so yet, or
  // asks for handle and id.
  void Terminate();
  void Close();

  HANDLE handle() const { return handle_.get(); }
  uint32_t id() const { return id_; }

 private:
  template <LPTHREAD_START_ROUTINE kFunction>
  static DWORD WINAPI runHeld(void* argument) {
    return pal::leaveThread(kFunction(argument));
  }

  KernelHandle handle_;
  uint32_t id_ = 0;
};

}  // namespace vexa::base
