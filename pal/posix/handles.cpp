#include "pal/posix/handles.h"

#include <chrono>
#include <cstdint>
#include <unordered_map>
#include <utility>

#include "pal/posix/counters.h"
#include "pal/posix/thread_stop.h"

namespace pal::posix {
namespace {

// It goes when the library is unloaded, and with it what nobody has closed; a thread that still
// runs holds its own object.
struct HandleTable {
  std::mutex mutex;
  std::unordered_map<std::uintptr_t, std::shared_ptr<Waitable>> objects;
  std::uintptr_t last = 0;
};
HandleTable& handles() {
  static HandleTable table;
  return table;
}

}  // namespace

bool Waitable::wait(DWORD milliseconds) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
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

HANDLE openHandle(std::shared_ptr<Waitable> object) {
  HandleTable& table = handles();
  const std::lock_guard lock(table.mutex);
  const std::uintptr_t number = table.last + 4;
  table.objects.emplace(number, std::move(object));
  table.last = number;
  return reinterpret_cast<HANDLE>(number);
}

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

std::size_t openHandles() {
  HandleTable& table = handles();
  const std::lock_guard lock(table.mutex);
  return table.objects.size();
}

}  // namespace pal::posix

DWORD WINAPI WaitForSingleObject(HANDLE handle, DWORD milliseconds) {
  pal::posix::stopIfTerminated();
  const auto object = pal::posix::objectOf(handle);
  if (!object) {
    return WAIT_FAILED;
  }
  return object->wait(milliseconds) ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
}

BOOL WINAPI CloseHandle(HANDLE handle) {
  std::shared_ptr<pal::posix::Waitable> closed;  // destroyed after the table is left
  auto& table = pal::posix::handles();
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
