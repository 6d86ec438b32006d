#include "runtime/thread_slot.h"

#include <atomic>

// The linker leads the calls of TlsAlloc and TlsFree in this image here (--wrap, see
// cmake/Crypto.cmake). libgpg-error takes a place when it is loaded, and as a static library never
// gives it back; the thread library under the C++ library would do the same. What is still taken
// when the library goes is given back by close().
using TlsAllocFunction = decltype(&TlsAlloc);
using TlsFreeFunction = decltype(&TlsFree);
extern "C" const TlsAllocFunction __real___imp_TlsAlloc;
extern "C" const TlsFreeFunction __real___imp_TlsFree;

namespace vexa::velmora::thread_slot {
namespace {

constexpr size_t kMostTaken = 16;
std::atomic<DWORD> taken[kMostTaken];  // one more than the place; 0: nothing

// Beyond kMostTaken a place is not noted, and stays with the process.
void replaceTaken(DWORD from, DWORD to) {
  for (std::atomic<DWORD>& entry : taken) {
    DWORD expected = from;
    if (entry.compare_exchange_strong(expected, to)) {
      return;
    }
  }
}

DWORD WINAPI takePlace() {
  const DWORD newPlace = __real___imp_TlsAlloc();
  if (newPlace != TLS_OUT_OF_INDEXES) {
    replaceTaken(0, newPlace + 1);
  }
  return newPlace;
}

BOOL WINAPI givePlaceBack(DWORD oldPlace) {
  replaceTaken(oldPlace + 1, 0);
  return __real___imp_TlsFree(oldPlace);
}

AtThreadEnd atThreadEnd = nullptr;

// The system calls this in programs and libraries alike, whatever their entry point does.
void NTAPI onThreadEvent(void* /*image*/, DWORD reason, void* /*reserved*/) {
  if (reason != DLL_THREAD_DETACH || place == TLS_OUT_OF_INDEXES) {
    return;
  }
  void* const value = get();
  if (value != nullptr && value != kEnded) {
    atThreadEnd(value);
  } else {
    forget();
  }
}

[[gnu::section(".CRT$XLC"), gnu::used]] const PIMAGE_TLS_CALLBACK threadCallback = onThreadEvent;

}  // namespace

DWORD place = TLS_OUT_OF_INDEXES;

// TlsGetValue clears the thread's last error, which nobody expects of an allocation.
void* getByCall() {
  if (place == TLS_OUT_OF_INDEXES) {
    return nullptr;
  }
  const DWORD error = GetLastError();
  void* const value = TlsGetValue(place);
  SetLastError(error);
  return value;
}

bool set(void* value, AtThreadEnd atEnd) {
  if (place == TLS_OUT_OF_INDEXES) {
    atThreadEnd = atEnd;
    place = TlsAlloc();
  }
  return place != TLS_OUT_OF_INDEXES && TlsSetValue(place, value) != 0;
}

void forget() { TlsSetValue(place, kEnded); }

void close() {
  place = TLS_OUT_OF_INDEXES;
  for (std::atomic<DWORD>& entry : taken) {
    if (const DWORD number = entry.exchange(0)) {
      __real___imp_TlsFree(number - 1);
    }
  }
}

}  // namespace vexa::velmora::thread_slot

extern "C" const TlsAllocFunction __wrap___imp_TlsAlloc = vexa::velmora::thread_slot::takePlace;
extern "C" const TlsFreeFunction __wrap___imp_TlsFree = vexa::velmora::thread_slot::givePlaceBack;
