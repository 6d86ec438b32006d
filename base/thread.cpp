#include "base/thread.h"

#include <utility>

namespace vexa::base {

void Thread::Start(Thread* holder, LPTHREAD_START_ROUTINE function, void* argument) {
  DWORD id = 0;
  const HANDLE handle = CreateThread(nullptr, 0, function, argument, 0, &id);
  if (holder != nullptr) {
    holder->Close();
    holder->handle_ = handle;
    holder->id_ = id;
  } else if (handle != nullptr) {
    CloseHandle(handle);
  }
}

bool Thread::Wait(uint32_t milliseconds) {
  if (handle_ == nullptr || WaitForSingleObject(handle_, milliseconds) != WAIT_OBJECT_0) {
    return false;
  }
  Close();
  return true;
}

void Thread::Terminate() {
  if (handle_ != nullptr) {
    TerminateThread(handle_, 0);
    CloseHandle(std::exchange(handle_, nullptr));
  }
}

void Thread::Close() {
  if (handle_ != nullptr) {
    CloseHandle(std::exchange(handle_, nullptr));
  }
  id_ = 0;
}

}  // namespace vexa::base
