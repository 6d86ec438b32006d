#include <malloc.h>

#include <cstdlib>
#include <cstring>

#include "pal/posix/counters.h"
#include "pal/windows_api.h"
#include "support/allocation_gate.h"

// The process heap for tests: every allocation passes the gate, every block is counted and filled.
// The global heap is left out of the gate: only Windows' own functions hand out its blocks.
namespace {

namespace gate = vexa::test::allocation_gate;

constexpr int kFreshByte = 0xCD;
constexpr int kFreedByte = 0xDD;

char processHeap;  // any address that is no block

void* count(void* block) {
  if (block != nullptr) {
    gate::countProcessBlock(1);
  }
  return block;
}

void release(void* block) {
  if (block != nullptr) {
    gate::countProcessBlock(-1);
    std::memset(block, kFreedByte, malloc_usable_size(block));
    std::free(block);
  }
}

// Fresh blocks are not zero, as those of Windows need not be.
void* allocate(bool cleared, SIZE_T bytes) {
  const SIZE_T size = bytes == 0 ? 1 : bytes;
  void* const block = count(std::malloc(size));
  if (block != nullptr) {
    std::memset(block, cleared ? 0 : kFreshByte, size);
  }
  return block;
}

}  // namespace

namespace pal::posix {
std::size_t heapBlocks() { return static_cast<std::size_t>(gate::liveProcessBlocks()); }
}  // namespace pal::posix

HANDLE WINAPI GetProcessHeap() { return &processHeap; }

LPVOID WINAPI HeapAlloc(HANDLE, DWORD flags, SIZE_T bytes) {
  return gate::pass() ? allocate((flags & HEAP_ZERO_MEMORY) != 0, bytes) : nullptr;
}

LPVOID WINAPI HeapReAlloc(HANDLE, DWORD flags, LPVOID block, SIZE_T bytes) {
  if (block == nullptr || !gate::pass()) {
    return nullptr;
  }
  void* const moved = allocate((flags & HEAP_ZERO_MEMORY) != 0, bytes);
  if (moved != nullptr) {
    const SIZE_T before = malloc_usable_size(block);
    std::memcpy(moved, block, before < bytes ? before : bytes);
    release(block);
  }
  return moved;
}

BOOL WINAPI HeapFree(HANDLE, DWORD, LPVOID block) {
  release(block);
  return TRUE;
}

HGLOBAL WINAPI GlobalAlloc(UINT flags, SIZE_T bytes) {
  return allocate((flags & GMEM_ZEROINIT) != 0, bytes);
}

HGLOBAL WINAPI GlobalFree(HGLOBAL block) {
  release(block);
  return nullptr;
}
