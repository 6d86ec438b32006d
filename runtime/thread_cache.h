#pragma once

#include <array>
#include <atomic>
#include <cstdint>

#include "runtime/heap_block.h"
#include "runtime/heap_poison.h"
#include "runtime/thread_slot.h"

// The free blocks that a thread keeps for its next requests, one list a size class. A block may be
// released by another thread than the one that asked for it; it then stays with the one that
// released it. A list that grows too long gives half of its blocks back to the system, and a thread
// that ends gives back all.
namespace vexa::velmora {

class ThreadCache {
 public:
  // The calling thread's, or null: it has none yet, or has ended.
  static ThreadCache* current() {
    void* const value = thread_slot::get();
    return reinterpret_cast<uintptr_t>(value) > reinterpret_cast<uintptr_t>(thread_slot::kEnded)
               ? static_cast<ThreadCache*>(value)
               : nullptr;
  }
  // Makes one first, when there is none. Null when that cannot be.
  static ThreadCache* make();

  // A block of the class, neither marked nor cleared; null when none is kept.
  Header* take(uint32_t sizeClass) {
    List& list = lists_[sizeClass];
    Header* const block = list.first;
    if (block != nullptr) {
      list.first = block->next();
      --list.count;
      allowBytes(block->bytes(), capacityOfClass(sizeClass));
    }
    return block;
  }

  void keep(Header* block, uint32_t sizeClass) {
    forbidBytes(block->bytes(), capacityOfClass(sizeClass));
    List& list = lists_[sizeClass];
    block->setNext(list.first);
    list.first = block;
    if (++list.count > kMostKept[sizeClass]) [[unlikely]] {
      giveBack(list, list.count / 2);
    }
  }

  // Blocks that came alive less those that ended; only the owner counts, whoever asks reads.
  void count(int64_t change) {
    live_.store(live_.load(std::memory_order_relaxed) + change, std::memory_order_relaxed);
  }
  // For a thread without a cache.
  static void countElsewhere(int64_t change);
  // Over all threads.
  static int64_t allLive();
  // Free blocks in all lists; exact while no other thread uses the heap.
  static uint64_t allKept();

  // Gives everything back, to the last slot. From then on no thread gets a cache.
  static void closeAll();

 private:
  struct List {
    Header* first;
    uint64_t count;
  };

  // A class keeps 256 KiB a thread.
  static constexpr std::array<uint32_t, kClasses> kMostKept = [] {
    std::array<uint32_t, kClasses> most{};
    for (uint32_t i = 0; i < kClasses; ++i) {
      most[i] = static_cast<uint32_t>(256 * 1024 / capacityOfClass(i));
    }
    return most;
  }();

  static void giveBack(List& list, uint64_t count);
  static void threadEnds(void* cache);
  void giveBackAll();
  void linkLocked();
  void unlinkLocked();

  List lists_[kClasses];
  std::atomic<int64_t> live_;
  ThreadCache* next_;
  ThreadCache* previous_;
};

}  // namespace vexa::velmora
