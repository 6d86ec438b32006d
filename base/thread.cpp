#include "base/thread.h"

#include <utility>

namespace vexa::base {

void Thread::Start(Thread* holder, LPTHREAD_START_ROUTINE function, void* argument) {
  DWORD id = 0;
  KernelHandle handle(CreateThread(nullptr, 0, function, argument, 0, &id));
  if (holder != nullptr) {
    holder->handle_ = std::move(handle);
    holder->id_ = id;
  }
}

bool Thread::Wait(uint32_t milliseconds) {
  if (!handle_ || WaitForSingleObject(handle_.get(), milliseconds) != WAIT_OBJECT_0) {
    return false;
  }
  Close();
  return true;
}

void Thread::Terminate() {
  if (handle_) {
    TerminateThread(handle_.get(), 0);
    handle_.reset();
  }
}

void Thread::Close() {
  handle_.reset();
  id_ = 0;
}

}  // namespace vexa::base
