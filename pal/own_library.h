#pragma once

#include "pal/windows_api.h"

// How a library stays loaded while a thread of its own runs in it: without that the code would go
// from under the thread when the host lets go of the library.
namespace pal {

#if defined(_WIN32)

// The library that this code is part of. With `flags` 0 the caller gets a reference.
inline HMODULE ownLibrary(DWORD flags) {
  HMODULE library = nullptr;
  GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | flags,
                     reinterpret_cast<LPCSTR>(&ownLibrary), &library);
  return library;
}

// One more reference, for a thread that is about to start; its leaveThread gives it back.
inline HMODULE holdOwnLibrary() { return ownLibrary(0); }

// The last thing that such a thread does: it does not come back to code that may be gone by then.
[[noreturn]] inline DWORD leaveThread(DWORD result) {
  FreeLibraryAndExitThread(ownLibrary(GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT), result);
}

#else

// Elsewhere no system call does both, and so there is no such reference: whoever unloads a library
// ends its threads before.
inline HMODULE holdOwnLibrary() { return nullptr; }
inline DWORD leaveThread(DWORD result) { return result; }

#endif

}  // namespace pal
