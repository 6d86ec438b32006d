#pragma once

#include <atomic>
#include <cstdint>
#include <utility>

#include "base/heap.h"

namespace vexa::json {

// Blocks of one heap, cut into pieces that are given back all together.
class Arena {
 public:
  using Allocate = void* (*)(uint64_t size);
  using Free = void (*)(void* block);

  Arena(Allocate allocateBlock, Free freeBlock, uint64_t blockSize)
      : allocate_(allocateBlock), free_(freeBlock), blockSize_(blockSize) {}
  Arena(const Arena&) = delete;
  Arena& operator=(const Arena&) = delete;
  ~Arena();

  // 8-byte aligned, not cleared; null when memory is short.
  void* take(uint64_t size) {
    const uint64_t rounded = (size + 7) & ~uint64_t{7};
    if (rounded > static_cast<uint64_t>(end_ - next_)) {
      return takeFromNewBlock(rounded);
    }
    return std::exchange(next_, next_ + rounded);
  }
  // Serves the next pieces from memory that belongs to someone else and outlives the pieces.
  void lend(char* memory, uint64_t size) {
    next_ = memory;
    end_ = memory + size;
  }

 private:
  struct Block {
    Block* previous;
  };

  void* takeFromNewBlock(uint64_t size);

  Allocate allocate_;
  Free free_;
  uint64_t blockSize_;  // of the next one
  Block* blocks_ = nullptr;
  char* next_ = nullptr;
  char* end_ = nullptr;
};

// The memory of all values that one parse makes: a handful of blocks instead of three for every
// value. Values come from the process heap, the text and the pointer arrays from the root list.
//
//   first block of the process heap   | ValuePool | values ...     |
//   block of the root list            | text | zeros | arrays ...  |
//
// Each value holds the pool, and so does its builder; the last one to let go frees it. Only the
// builder takes from the pool; letting go is for any thread.
class ValuePool {
 public:
  // Zero bytes behind the text, so that it can be read in words.
  static constexpr uint64_t kPadding = 8;

  // A pool with a writable copy of the text, held by the caller; null when memory is short.
  static ValuePool* create(const void* text, uint64_t length);
  ValuePool(const ValuePool&) = delete;
  ValuePool& operator=(const ValuePool&) = delete;

  char* text() const { return text_; }

  // Memory for a value, which holds the pool from now on; null when memory is short.
  void* takeValue(uint64_t size) {
    void* const memory = values_.take(size);
    if (memory != nullptr) {
      // Nobody else knows the pool while it is being filled.
      const std::atomic_ref holders(holders_);
      holders.store(holders.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    }
    return memory;
  }
  // Memory for an array of pointers.
  void* takeArray(uint64_t size) { return arrays_.take(size); }

  // Lets go of `holders` holds at once.
  void release(uint64_t holders) {
    if (std::atomic_ref(holders_).fetch_sub(holders) == holders) {
      destroy();
    }
  }

 private:
  explicit ValuePool(char* text);
  ~ValuePool();
  void destroy();

  uint64_t holders_ = 1;
  char* text_;
  Arena values_;
  Arena arrays_;
};

// Gives back the memory of values, those of one pool together.
class ValueMemory {
 public:
  ValueMemory() = default;
  ValueMemory(const ValueMemory&) = delete;
  ValueMemory& operator=(const ValueMemory&) = delete;
  ~ValueMemory() { flush(); }

  // `pool` null: a block of the process heap.
  void free(ValuePool* pool, void* block) {
    if (pool == nullptr) {
      base::processFree(block);
      return;
    }
    if (pool != pool_) {
      change(pool);
    }
    ++count_;
  }

 private:
  void change(ValuePool* pool);
  void flush() {
    if (count_ != 0) {
      pool_->release(std::exchange(count_, 0));
    }
  }

  ValuePool* pool_ = nullptr;
  uint64_t count_ = 0;
};

}  // namespace vexa::json
