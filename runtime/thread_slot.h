#pragma once

#include <cstddef>
#include <cstdint>

#if defined(_WIN32)
#include <windows.h>
// After windows.h.
#include <winternl.h>
#endif

// One pointer a thread, read in a few instructions, and a call when the thread ends.
namespace vexa::velmora::thread_slot {

// What a thread's slot holds once the thread has ended: whatever still runs there keeps nothing.
inline void* const kEnded = reinterpret_cast<void*>(1);

// Called with the slot's value at the end of each thread whose slot holds one; calls forget().
using AtThreadEnd = void (*)(void* value);

#if defined(_WIN32)

// The places that lie in the thread's own block; later ones are reached by a call.
inline constexpr DWORD kQuickPlaces = 64;
extern DWORD place;  // TLS_OUT_OF_INDEXES: none is taken
void* getByCall();

inline void* get() {
  if (place >= kQuickPlaces) {
    return getByCall();
  }
  // TEB::TlsSlots[place], which lies in the segment that gs selects.
  const uint64_t offset = offsetof(TEB, TlsSlots) + place * sizeof(void*);
  void* value;
  asm volatile("movq %%gs:(%1), %0" : "=r"(value) : "r"(offset));
  return value;
}

#else

// Read without a call, even in a library that was loaded later.
[[gnu::tls_model("initial-exec")]] extern constinit thread_local void* value;

inline void* get() { return value; }

#endif

// False: the system has no room. One caller at a time.
bool set(void* value, AtThreadEnd atEnd);
// Of the thread that ends: its value is no more.
void forget();
// Before the library goes: the calls at thread ends stop, the system gets its slot back.
void close();

}  // namespace vexa::velmora::thread_slot
