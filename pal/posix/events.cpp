#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <memory>
#include <mutex>
#include <new>

#include "pal/posix/handles.h"

namespace {

using pal::posix::objectAs;
using pal::posix::openHandle;
using pal::posix::Waitable;

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

}  // namespace

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
