#include <cstdlib>

#include "pal/posix/sync.h"
#include "pal/posix/thread_stop.h"

void WINAPI InitializeCriticalSection(LPCRITICAL_SECTION section) {
  // Windows' call does not fail either; on Linux these never do.
  pthread_mutexattr_t attributes;
  if (pthread_mutexattr_init(&attributes) != 0 ||
      pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE) != 0 ||
      pthread_mutex_init(&section->mutex, &attributes) != 0) {
    std::abort();
  }
  pthread_mutexattr_destroy(&attributes);
}

void WINAPI DeleteCriticalSection(LPCRITICAL_SECTION section) {
  pthread_mutex_destroy(&section->mutex);
}

void WINAPI EnterCriticalSection(LPCRITICAL_SECTION section) {
  pal::posix::stopIfTerminated();
  if (pthread_mutex_lock(&section->mutex) != 0) {
    std::abort();
  }
}

void WINAPI LeaveCriticalSection(LPCRITICAL_SECTION section) {
  if (pthread_mutex_unlock(&section->mutex) != 0) {
    std::abort();
  }
}
