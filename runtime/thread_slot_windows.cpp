#include "runtime/thread_slot.h"

namespace vexa::velmora::thread_slot {
namespace {

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
  if (place != TLS_OUT_OF_INDEXES) {
    TlsFree(place);
    place = TLS_OUT_OF_INDEXES;
  }
}

}  // namespace vexa::velmora::thread_slot
