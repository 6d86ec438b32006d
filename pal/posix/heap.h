#pragma once

#include "pal/posix/error.h"

// The process heap and the global heap over malloc, so that the sanitizers see every block. Any
// thread. Releasing null succeeds and does nothing.

inline constexpr DWORD HEAP_ZERO_MEMORY = 0x8;
inline constexpr UINT GMEM_FIXED = 0x0;
inline constexpr UINT GMEM_ZEROINIT = 0x40;
inline constexpr UINT GPTR = GMEM_FIXED | GMEM_ZEROINIT;

extern "C" {
HANDLE WINAPI GetProcessHeap();

// Null when memory is short, or for another heap than the process heap. As on Windows HeapAlloc
// leaves the last error alone. 0 bytes give a block of their own.
LPVOID WINAPI HeapAlloc(HANDLE heap, DWORD flags, SIZE_T bytes);
// Null when memory is short, or for a null block; the old block stays then. With HEAP_ZERO_MEMORY
// the bytes beyond the old size are 0.
LPVOID WINAPI HeapReAlloc(HANDLE heap, DWORD flags, LPVOID block, SIZE_T bytes);
BOOL WINAPI HeapFree(HANDLE heap, DWORD flags, LPVOID block);

// Fixed blocks only (GMEM_FIXED, GMEM_ZEROINIT): other flags fail with ERROR_NOT_SUPPORTED.
HGLOBAL WINAPI GlobalAlloc(UINT flags, SIZE_T bytes);
// Always null, which means success.
HGLOBAL WINAPI GlobalFree(HGLOBAL block);
}
