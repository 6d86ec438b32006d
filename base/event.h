#pragma once

#include <cstdint>

#include "base/windows_holders.h"

namespace vexa::base {

// Something that can be signalled.
class ISignal {
 public:
  virtual uint32_t Signal() = 0;  // slot 0

 protected:
  ~ISignal() = default;
};

// An unnamed auto-reset event, not signalled at first. Any thread may signal it; one waits.
class Event final : public ISignal {
 public:
  Event() : handle_(CreateEventA(nullptr, FALSE, FALSE, nullptr)) {}
  Event(const Event&) = delete;
  Event& operator=(const Event&) = delete;
  ~Event() = default;

  // Non-zero when the event was set.
  uint32_t Signal() override { return static_cast<uint32_t>(SetEvent(handle_.get())); }
  // True when signalled within the time (INFINITE is allowed), which consumes the signal.
  bool Wait(uint32_t milliseconds) {
    return WaitForSingleObject(handle_.get(), milliseconds) == WAIT_OBJECT_0;
  }
  void Reset() { ResetEvent(handle_.get()); }

 private:
  KernelHandle handle_;
};

}  // namespace vexa::base
