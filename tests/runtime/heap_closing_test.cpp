#include <gtest/gtest.h>

#include <future>
#include <thread>

#include "runtime/heap.h"
#include "runtime/thread_cache.h"
#include "support/process_counters.h"
#include "vexa/runtime/reference.h"

// What the heap leaves when its library goes. A program of its own, since it closes for good.
namespace vexa::test {
namespace {

using velmora::ThreadCache;

// Asks for a block, keeps it, and lets go of others of the same size.
void* useHeap() {
  void* const block = velmora::allocateBlock(40);
  velmora::freeBlock(velmora::allocateBlock(40));
  velmora::freeBlock(velmora::allocateBlock(4000));
  return block;
}

TEST(HeapClosing, GivesAllBackThatNobodyHoldsAndKeepsNothingAnyMore) {
  velmora_watch_heap(0);
  const int64_t placesBefore = ProcessCounters::now().freePlaces;
  void* const own = useHeap();
  void* others = nullptr;
  std::promise<void> used, closed;
  std::thread other([&] {
    others = useHeap();
    used.set_value();
    closed.get_future().wait();
  });
  used.get_future().wait();
  EXPECT_GE(ThreadCache::allKept(), 4u);
  EXPECT_EQ(velmora_live_blocks(), 2u);
  EXPECT_EQ(ProcessCounters::now().freePlaces, placesBefore - 1);

  velmora::closeHeap();
  EXPECT_EQ(ThreadCache::allKept(), 0u);
  EXPECT_EQ(velmora_live_blocks(), 2u) << "somebody still holds them";
  EXPECT_EQ(ProcessCounters::now().freePlaces, placesBefore);
  closed.set_value();
  other.join();  // and is not asked for its blocks
  EXPECT_EQ(velmora_live_blocks(), 2u);

  EXPECT_EQ(ThreadCache::make(), nullptr);
  EXPECT_EQ(ThreadCache::current(), nullptr);
  void* const late = useHeap();
  EXPECT_NE(late, nullptr);
  EXPECT_EQ(ThreadCache::allKept(), 0u);
  std::thread([] { velmora::freeBlock(useHeap()); }).join();
  EXPECT_EQ(velmora_live_blocks(), 3u);
  for (void* const block : {own, others, late}) {
    velmora::freeBlock(block);
  }
  EXPECT_EQ(velmora_live_blocks(), 0u);
  EXPECT_EQ(ProcessCounters::now().freePlaces, placesBefore);
  velmora::closeHeap();
  EXPECT_EQ(ProcessCounters::now().freePlaces, placesBefore) << "a second time gives nothing back";
}

}  // namespace
}  // namespace vexa::test
