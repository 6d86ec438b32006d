#include "pal/posix/heap.h"

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <cstring>

#include "pal/posix/counters.h"

namespace {

std::atomic<std::size_t> blocks{0};

// Any address that is no block.
char processHeap;

// malloc may give more than was asked for. Those bytes are kept at 0, so that a block that grows
// into them under HEAP_ZERO_MEMORY needs no record of the size that it was asked for.
void* clearSlack(void* block, std::size_t bytes) {
  const std::size_t room = malloc_usable_size(block);
  // The compiler knows malloc's argument and would take the write for an overflow.
  volatile char* slack = static_cast<char*>(block);
  for (std::size_t i = bytes; i < room; ++i) {
    slack[i] = '\0';
  }
  return block;
}

// No bytes give a block, too.
std::size_t atLeastOne(std::size_t bytes) { return bytes != 0 ? bytes : 1; }

void* allocate(bool cleared, std::size_t bytes) {
  void* block = cleared ? std::calloc(1, atLeastOne(bytes)) : std::malloc(atLeastOne(bytes));
  if (block == nullptr) {
    return nullptr;
  }
  blocks.fetch_add(1, std::memory_order_relaxed);
  return clearSlack(block, bytes);
}

void release(void* block) {
  if (block == nullptr) {
    return;
  }
  blocks.fetch_sub(1, std::memory_order_relaxed);
  std::free(block);
}

}  // namespace

namespace pal::posix {
std::size_t heapBlocks() { return blocks.load(std::memory_order_relaxed); }
}  // namespace pal::posix

HANDLE WINAPI GetProcessHeap() { return &processHeap; }

LPVOID WINAPI HeapAlloc(HANDLE heap, DWORD flags, SIZE_T bytes) {
  if (heap != &processHeap) {
    return nullptr;
  }
  return allocate((flags & HEAP_ZERO_MEMORY) != 0, bytes);
}

LPVOID WINAPI HeapReAlloc(HANDLE heap, DWORD flags, LPVOID block, SIZE_T bytes) {
  if (heap != &processHeap || block == nullptr) {
    return nullptr;
  }
  const std::size_t before = malloc_usable_size(block);
  void* moved = std::realloc(block, atLeastOne(bytes));
  if (moved == nullptr) {
    return nullptr;
  }
  if ((flags & HEAP_ZERO_MEMORY) != 0 && bytes > before) {
    std::memset(static_cast<char*>(moved) + before, 0, bytes - before);
  }
  return clearSlack(moved, bytes);
}

BOOL WINAPI HeapFree(HANDLE heap, DWORD, LPVOID block) {
  if (heap != &processHeap) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  release(block);
  return TRUE;
}

HGLOBAL WINAPI GlobalAlloc(UINT flags, SIZE_T bytes) {
  if ((flags & ~GPTR) != 0) {
    SetLastError(ERROR_NOT_SUPPORTED);
    return nullptr;
  }
  void* block = allocate((flags & GMEM_ZEROINIT) != 0, bytes);
  if (block == nullptr) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
  }
  return block;
}

HGLOBAL WINAPI GlobalFree(HGLOBAL block) {
  release(block);
  return nullptr;
}
