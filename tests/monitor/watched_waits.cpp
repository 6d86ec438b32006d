#include "watched_waits.h"

#include <mutex>
#include <utility>

#include "pal/windows_api.h"

namespace vexa::test {
namespace {

std::mutex mutex;
std::vector<uint32_t> waits;

}  // namespace

std::vector<uint32_t> takeWaits() {
  const std::lock_guard lock(mutex);
  return std::exchange(waits, {});
}

}  // namespace vexa::test

// The linker leads all calls here (--wrap).
extern "C" {

DWORD WINAPI __real_WaitForSingleObject(HANDLE handle, DWORD milliseconds);

DWORD WINAPI __wrap_WaitForSingleObject(HANDLE handle, DWORD milliseconds) {
  if (milliseconds != 0 && milliseconds != INFINITE) {
    const std::lock_guard lock(vexa::test::mutex);
    vexa::test::waits.push_back(milliseconds);
  }
  return __real_WaitForSingleObject(handle, milliseconds);
}

}  // extern "C"
