#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>

#include "pal/posix/sync.h"

// The handles of events and threads. Inside the sync facility only.
namespace pal::posix {

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

// A new handle of the object. Throws std::bad_alloc.
HANDLE openHandle(std::shared_ptr<Waitable> object);

// Null, with the last error set, when the handle is not open.
std::shared_ptr<Waitable> objectOf(HANDLE handle);

// The same for a handle that must be an event or a thread.
template <class T>
std::shared_ptr<T> objectAs(HANDLE handle) {
  auto object = std::dynamic_pointer_cast<T>(objectOf(handle));
  if (!object) {
    SetLastError(ERROR_INVALID_HANDLE);
  }
  return object;
}

}  // namespace pal::posix
