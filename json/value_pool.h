#pragma once

#include <atomic>
#include <cstdint>

#include "json/item.h"
#include "vexa/holders.h"

namespace vexa::json {

// The memory of everything that one parse makes: a handful of blocks of the root list, given back
// together.
//
//   first block   | ValuePool | text | zeros | items ... |
//   further ones  | link | items ... |
//
// Items stay where they are, since objects point to them: a pool grows by further blocks, and never
// moves what it has, as a growing array does.
//
// Every object of the component model that was made of an item holds the pool, and so does its
// builder; the last one to let go frees it. Only the builder takes from the pool; holding it and
// letting go are for any thread.
class ValuePool {
 public:
  // Zero bytes behind the text, so that it can be read in words.
  static constexpr uint64_t kPadding = 8;

  // A pool with a writable copy of the text, held by the caller; null when memory is short.
  static ValuePool* create(const void* text, uint64_t length);
  ValuePool(const ValuePool&) = delete;
  ValuePool& operator=(const ValuePool&) = delete;

  char* text() { return reinterpret_cast<char*>(this + 1); }

  // Room for items, which are not set; null when memory is short.
  Item* take(uint64_t count) {
    if (count > static_cast<uint64_t>(end_ - next_)) {
      return takeFromNewBlock(count);
    }
    next_ += count;
    return next_ - count;
  }

  void hold() { std::atomic_ref(holders_).fetch_add(1); }
  void release() {
    if (std::atomic_ref(holders_).fetch_sub(1) == 1) {
      destroy();
    }
  }

 private:
  struct Block {
    Block* previous;
    uint64_t unused;  // so that items lie at multiples of their size
  };
  static_assert(sizeof(Block) == sizeof(Item));

  ValuePool(Item* items, Item* end) : next_(items), end_(end) {}
  ~ValuePool() = default;
  Item* takeFromNewBlock(uint64_t count);
  void destroy();

  alignas(std::atomic_ref<uint64_t>::required_alignment) uint64_t holders_ = 1;
  Block* blocks_ = nullptr;
  Item* next_;
  Item* end_;
};
static_assert(sizeof(ValuePool) % sizeof(Item) == 0);

struct ValuePoolPolicy : PointerPolicy<ValuePool> {
  static void share(ValuePool* pool) { pool->hold(); }
  static void release(ValuePool* pool) { pool->release(); }
};
using ValuePoolRef = Holder<ValuePoolPolicy>;

}  // namespace vexa::json
