#include <pthread.h>

#include "runtime/thread_slot.h"

namespace vexa::velmora::thread_slot {
namespace {

// The value lies twice: in the thread's own storage, where it is read, and behind a key, which has
// a call at the thread's end.
pthread_key_t key;
bool hasKey = false;

}  // namespace

constinit thread_local void* value = nullptr;

bool set(void* newValue, AtThreadEnd atEnd) {
  if (!hasKey) {
    hasKey = pthread_key_create(&key, atEnd) == 0;
  }
  if (!hasKey || pthread_setspecific(key, newValue) != 0) {
    return false;
  }
  value = newValue;
  return true;
}

// The system has taken the value from the key already.
void forget() { value = kEnded; }

void close() {
  if (hasKey) {
    pthread_key_delete(key);
    hasKey = false;
  }
  value = kEnded;
}

}  // namespace vexa::velmora::thread_slot
