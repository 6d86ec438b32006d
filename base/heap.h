#pragma once

#include <cstdint>

#include "base/tables.h"
#include "vexa/holders.h"

// The two heaps. Everything whose size depends on data comes from the root list; component objects,
// unload nodes, the own-directory text and adapter snapshots come from the process heap, because
// they live before the root list is there or after it is gone.
namespace vexa::base {

// Without a root list an allocation answers null and a release does nothing.
[[nodiscard]] inline void* allocate(uint64_t size) { return bound.root->Allocate(size); }
[[nodiscard]] inline void* reallocate(void* block, uint64_t size) {
  return bound.root->Reallocate(block, size);
}
inline void freeBlock(void* block) {
  if (block != nullptr) {
    bound.root->Free(block);
  }
}

[[nodiscard]] void* processAllocate(uint64_t size);
void processFree(void* block);

// Finds the tables that release.
struct BoundRuntime {
  static const runtime::RootList& root() { return *bound.root; }
  static const runtime::CommonTypes& commonTypes() { return *bound.commonTypes; }
};

// One block of the root list, seen as items of T.
template <class T>
class RootBlock : public Holder<BlockPolicy<T, BoundRuntime>> {
 public:
  using Holder<BlockPolicy<T, BoundRuntime>>::Holder;

  // Empty without memory.
  static RootBlock ofBytes(uint64_t size) { return RootBlock(static_cast<T*>(allocate(size))); }
  // Makes it `size` bytes long, and moves it for that. False: it stays as it is.
  [[nodiscard]] bool resize(uint64_t size) {
    void* const grown = reallocate(this->get(), size);
    if (grown != nullptr) {
      (void)this->release();
      this->reset(static_cast<T*>(grown));
    }
    return grown != nullptr;
  }
};

}  // namespace vexa::base
