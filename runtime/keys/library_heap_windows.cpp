#include <windows.h>

#include "runtime/keys/library_heap.h"

namespace vexa::velmora::library_heap {
namespace {

constinit HANDLE heap = nullptr;

}  // namespace

// The first block is taken when libgcrypt is started, which one thread does.
void* allocate(size_t size) {
  if (heap == nullptr) {
    heap = HeapCreate(0, 0, 0);
  }
  return heap == nullptr ? nullptr : HeapAlloc(heap, 0, size);
}

void free(void* block) { HeapFree(heap, 0, block); }

void close() {
  if (heap != nullptr) {
    HeapDestroy(heap);
    heap = nullptr;
  }
}

}  // namespace vexa::velmora::library_heap
