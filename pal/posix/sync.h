#pragma once

#include <pthread.h>

#include "pal/posix/error.h"

// Critical sections, events and threads over POSIX threads. Waits measure the monotonic clock.
// A handle number is never used twice, so a closed handle is always refused.

inline constexpr DWORD WAIT_OBJECT_0 = 0;
inline constexpr DWORD WAIT_TIMEOUT = 258;
inline constexpr DWORD WAIT_FAILED = 0xFFFFFFFF;

// Re-entrant for the thread that owns it. May not be copied or moved.
struct CRITICAL_SECTION {
  pthread_mutex_t mutex;
};
using LPCRITICAL_SECTION = CRITICAL_SECTION*;

using LPTHREAD_START_ROUTINE = DWORD(WINAPI*)(LPVOID);

extern "C" {
void WINAPI InitializeCriticalSection(LPCRITICAL_SECTION section);
void WINAPI DeleteCriticalSection(LPCRITICAL_SECTION section);
void WINAPI EnterCriticalSection(LPCRITICAL_SECTION section);
void WINAPI LeaveCriticalSection(LPCRITICAL_SECTION section);

// Only unnamed events: a name fails with ERROR_NOT_SUPPORTED. Null: ERROR_NOT_ENOUGH_MEMORY.
HANDLE WINAPI CreateEventA(LPSECURITY_ATTRIBUTES security, BOOL manualReset, BOOL signalled,
                           LPCSTR name);
// FALSE with ERROR_INVALID_HANDLE for anything but an open event. These two also take an eventfd of
// a host, which cannot make events here: its descriptor, shifted left by 2, plus 1.
BOOL WINAPI SetEvent(HANDLE event);
BOOL WINAPI ResetEvent(HANDLE event);

// `handle` is an event or a thread. WAIT_OBJECT_0: the event was signalled (an automatic-reset
// event is consumed), or the thread has ended and left the process. WAIT_TIMEOUT after
// `milliseconds`; INFINITE never times out. WAIT_FAILED with ERROR_INVALID_HANDLE.
DWORD WINAPI WaitForSingleObject(HANDLE handle, DWORD milliseconds);

// FALSE with ERROR_INVALID_HANDLE when the handle is not open. A thread whose handle is closed runs
// on; a wait that is under way keeps its object.
BOOL WINAPI CloseHandle(HANDLE handle);

// Starts `start(argument)` at once; creation flags fail with ERROR_NOT_SUPPORTED. `stackSize` 0
// means the default. Null: ERROR_NOT_ENOUGH_MEMORY (no memory, or no more threads).
HANDLE WINAPI CreateThread(LPSECURITY_ATTRIBUTES security, SIZE_T stackSize,
                           LPTHREAD_START_ROUTINE start, LPVOID argument, DWORD flags,
                           LPDWORD threadId);

// POSIX has no way to end another thread without running its clean-up code. Here the handle counts
// as ended at once; the thread itself stops for good when it next reaches Sleep,
// WaitForSingleObject or EnterCriticalSection (at once when it is in one of the first two), and
// runs on until then. As on Windows nothing is unwound or released: what it holds stays held. Its
// stack stays too, to the end of the process. A thread that ends itself stops here and now.
BOOL WINAPI TerminateThread(HANDLE thread, DWORD exitCode);

// Never 0, and equal to what CreateThread stored.
DWORD WINAPI GetCurrentThreadId();

void WINAPI Sleep(DWORD milliseconds);
}
