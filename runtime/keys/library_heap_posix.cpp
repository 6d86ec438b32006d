#include <cstdlib>

#include "runtime/keys/library_heap.h"

namespace vexa::velmora::library_heap {

void* allocate(size_t size) { return std::malloc(size); }

void free(void* block) { std::free(block); }

}  // namespace vexa::velmora::library_heap
