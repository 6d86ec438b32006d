#pragma once

#include "pal/posix/error.h"

// Shared libraries over the dynamic loader. A '\' in a path counts like a '/'. Any thread.

inline constexpr DWORD GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT = 0x2;
inline constexpr DWORD GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS = 0x4;

extern "C" {
// A name without extension gets ".so"; one that ends in "." is taken without it. Each success adds
// a reference that FreeLibrary takes back. Null: ERROR_MOD_NOT_FOUND (no name, no such file, or a
// library that it needs is missing), ERROR_BAD_EXE_FORMAT (the file is there but is not a library).
HMODULE WINAPI LoadLibraryA(LPCSTR name);

// Null with ERROR_PROC_NOT_FOUND when the library does not export `name`, ERROR_MOD_NOT_FOUND when
// `module` was not handed out by this facility. Numbers in place of names are not known here.
FARPROC WINAPI GetProcAddress(HMODULE module, LPCSTR name);

// FALSE with ERROR_INVALID_HANDLE for null, ERROR_MOD_NOT_FOUND when there is no such reference.
BOOL WINAPI FreeLibrary(HMODULE module);

// The absolute path of the module's file; null means the program. Returns its length without the
// terminator. Does not fit: cut to size - 1 characters and terminated, returns `size`, and the
// last error is ERROR_INSUFFICIENT_BUFFER. 0 with ERROR_MOD_NOT_FOUND for an unknown handle.
DWORD WINAPI GetModuleFileNameA(HMODULE module, LPSTR path, DWORD size);

// The module whose code or data holds the address `name`. Only FLAG_FROM_ADDRESS is built, with or
// without FLAG_UNCHANGED_REFCOUNT; anything else fails with ERROR_NOT_SUPPORTED. An address of no
// module: ERROR_MOD_NOT_FOUND. A failure clears *module.
BOOL WINAPI GetModuleHandleExA(DWORD flags, LPCSTR name, HMODULE* module);

// The folder of the C library, "/usr/lib/x86_64-linux-gnu" on Debian. Returns its length, or the
// size needed with the terminator when that is more than `size`.
UINT WINAPI GetSystemDirectoryA(LPSTR path, UINT size);
}
