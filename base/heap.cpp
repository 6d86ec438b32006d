#include "base/heap.h"

#include "pal/windows_api.h"

namespace vexa::base {

void* processAllocate(uint64_t size) { return HeapAlloc(GetProcessHeap(), 0, size); }

void processFree(void* block) {
  if (block != nullptr) {
    HeapFree(GetProcessHeap(), 0, block);
  }
}

}  // namespace vexa::base
