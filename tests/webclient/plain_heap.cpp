#include <cstdlib>

#include "pal/replace.h"

// The rest of the heap facility, for a program with a GlobalFree of its own.
namespace {
char processHeap;  // any address that is no block
}

PAL_REPLACE(HANDLE, GetProcessHeap, ()) { return &processHeap; }
PAL_REPLACE(LPVOID, HeapAlloc, (HANDLE, DWORD flags, SIZE_T bytes)) {
  return (flags & HEAP_ZERO_MEMORY) != 0 ? std::calloc(1, bytes) : std::malloc(bytes);
}
PAL_REPLACE(LPVOID, HeapReAlloc, (HANDLE, DWORD, LPVOID block, SIZE_T bytes)) {
  return std::realloc(block, bytes);
}
PAL_REPLACE(BOOL, HeapFree, (HANDLE, DWORD, LPVOID block)) {
  std::free(block);
  return TRUE;
}
PAL_REPLACE(HGLOBAL, GlobalAlloc, (UINT, SIZE_T bytes)) { return std::malloc(bytes); }
