#pragma once

#include <cstdint>

#if defined(_WIN32)
#include <windows.h>
#else
#include <pthread.h>
#endif

// Which thread runs. (On Windows std::this_thread::get_id() would bring the thread library that
// runtime/lock.h avoids.)
namespace vexa::velmora {

using ThreadId = uint64_t;  // 0: none

inline ThreadId currentThread() {
#if defined(_WIN32)
  return GetCurrentThreadId();
#else
  return static_cast<ThreadId>(pthread_self());
#endif
}

}  // namespace vexa::velmora
