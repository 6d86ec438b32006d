#pragma once

#include <cstdint>
#include <utility>

#include "base/tables.h"

// The two heaps. Everything whose size depends on data comes from the root list; component objects,
// unload nodes, the own-directory text and adapter snapshots come from the process heap, because
// they live before the root list is there or after it is gone.
namespace vexa::base {

// Without a root list an allocation answers null and a release does nothing.
[[nodiscard]] inline void* allocate(uint64_t size) {
  return bound.root != nullptr ? bound.root->Allocate(size) : nullptr;
}
[[nodiscard]] inline void* reallocate(void* block, uint64_t size) {
  return bound.root != nullptr ? bound.root->Reallocate(block, size) : nullptr;
}
inline void freeBlock(void* block) {
  if (bound.root != nullptr && block != nullptr) {
    bound.root->Free(block);
  }
}

[[nodiscard]] void* processAllocate(uint64_t size);
void processFree(void* block);

// Owns one block of the root list, seen as items of T.
template <class T>
class RootBlock {
 public:
  RootBlock() = default;
  explicit RootBlock(T* block) : block_(block) {}
  RootBlock(RootBlock&& other) noexcept : block_(other.release()) {}
  RootBlock& operator=(RootBlock&& other) noexcept {
    reset(other.release());
    return *this;
  }
  ~RootBlock() { reset(); }

  static RootBlock ofBytes(uint64_t size) { return RootBlock(static_cast<T*>(allocate(size))); }

  explicit operator bool() const { return block_ != nullptr; }
  T* get() const { return block_; }
  T* operator->() const { return block_; }
  T& operator[](uint64_t index) const { return block_[index]; }
  T* release() { return std::exchange(block_, nullptr); }
  void reset(T* block = nullptr) { freeBlock(std::exchange(block_, block)); }

 private:
  T* block_ = nullptr;
};

}  // namespace vexa::base
