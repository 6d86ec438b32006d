#pragma once

#include <cstddef>

// Where libgcrypt's blocks lie. Some it keeps for as long as it lives: its constant numbers, what
// it once worked out for a curve.
namespace vexa::velmora::library_heap {

void* allocate(size_t size);  // null: there is none
void free(void* block);

#if defined(_WIN32)
// When libgcrypt goes, which is a part of this library there. All its blocks are gone then.
void close();
#endif

}  // namespace vexa::velmora::library_heap
