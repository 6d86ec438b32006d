#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <numeric>
#include <random>
#include <thread>
#include <vector>

#include "runtime/heap.h"
#include "runtime/heap_block.h"
#include "runtime/heap_poison.h"
#include "runtime/thread_cache.h"
#include "support/exact_bytes.h"
#include "vexa/runtime/reference.h"

namespace vexa::test {
namespace {

using velmora::ThreadCache;

uint8_t* allocate(uint64_t size) { return static_cast<uint8_t*>(velmora::allocateBlock(size)); }
uint8_t* reallocate(void* block, uint64_t size) {
  return static_cast<uint8_t*>(velmora::reallocateBlock(block, size));
}

// The heap as it runs when nobody watches, under AddressSanitizer too.
class QuickHeap : public ::testing::Test {
 protected:
  void SetUp() override {
    velmora_watch_heap(0);
    live_ = velmora_live_blocks();
    errors_ = velmora_heap_errors();
  }
  void TearDown() override {
    EXPECT_EQ(velmora_live_blocks(), live_);
    EXPECT_EQ(velmora_heap_errors(), errors_);
    velmora_watch_heap(velmora::kUnderAddressSanitizer ? 1 : 0);
  }

  // What `action` makes the heap complain of.
  template <class Action>
  std::string complaint(Action action) {
    testing::internal::CaptureStderr();
    action();
    ++errors_;
    return testing::internal::GetCapturedStderr();
  }

 private:
  uint64_t live_ = 0;
  uint64_t errors_ = 0;
};

constexpr char kNotLive[] = "velmora: Free of something that is not a live block\n";

TEST(HeapClass, HoldsEverySizeWithLittleToSpare) {
  for (uint64_t size = 1; size <= velmora::kLargestOfClass; ++size) {
    const uint32_t sizeClass = velmora::classOf(size);
    const uint64_t capacity = velmora::capacityOfClass(sizeClass);
    ASSERT_GE(capacity, size);
    ASSERT_LE(capacity - size, std::max<uint64_t>(velmora::kStep, size / 4)) << size;
    ASSERT_TRUE(sizeClass == 0 || velmora::capacityOfClass(sizeClass - 1) < size) << size;
  }
}

TEST_F(QuickHeap, AReleasedBlockIsTheNextOneAndZeroAgain) {
  std::vector<uint64_t> sizes(300);
  std::iota(sizes.begin(), sizes.end(), 1);
  sizes.insert(sizes.end(), {1000, 4096, 65536});
  for (const uint64_t size : sizes) {
    uint8_t* const first = allocate(size);
    std::memset(first, 0xAB, size);
    velmora::freeBlock(first);
    uint8_t* const second = allocate(size);
    EXPECT_EQ(second, first) << size;
    EXPECT_EQ(std::count(second, second + size, 0), static_cast<int64_t>(size)) << size;
    velmora::freeBlock(second);
  }
}

TEST_F(QuickHeap, TextsOfEveryLengthAreCopiedWhole) {
  for (size_t size = 1; size <= 300; ++size) {
    std::string text(size, '\0');
    // Other bytes than the block had from the text before.
    std::iota(text.begin(), text.end(), static_cast<char>(size));
    const ExactBytes source(text);
    auto* const copy = static_cast<char*>(velmora::duplicateText(source.data(), size));
    EXPECT_EQ(std::string(copy, size), text) << size;
    velmora::freeText(copy);
  }
}

TEST_F(QuickHeap, BlocksGrowAndShrinkWhereTheyAre) {
  uint8_t* const block = allocate(100);
  std::memset(block, 7, 100);
  EXPECT_EQ(reallocate(block, 112), block);
  EXPECT_EQ(reallocate(block, 1), block);
  EXPECT_EQ(reallocate(block, 0), block);
  EXPECT_EQ(reallocate(block, 112), block);
  EXPECT_EQ(*block, 7);
  velmora::freeBlock(block);
}

TEST_F(QuickHeap, ManySmallStepsMoveABlockSeldom) {
  constexpr uint64_t kEnd = 1024 * 1024;
  uint8_t* block = nullptr;
  int moves = 0;
  for (uint64_t size = 64; size <= kEnd; size += 64) {
    uint8_t* const grown = reallocate(block, size);
    moves += grown != block ? 1 : 0;
    block = grown;
    std::memset(block + size - 64, static_cast<int>(size / 64 % 251), 64);
  }
  EXPECT_LT(moves, 50);
  for (uint64_t size = 64; size <= kEnd; size += 64) {
    ASSERT_EQ(block[size - 1], size / 64 % 251);
  }
  velmora::freeBlock(block);
}

TEST_F(QuickHeap, ALargeBlockThatShrinksMuchGivesItsRoomBack) {
  uint8_t* block = allocate(1024 * 1024);
  std::memset(block, 9, 1024 * 1024);
  for (const uint64_t size : {200'000u, 70'000u, 1000u, 10u}) {
    block = reallocate(block, size);
    EXPECT_LE(velmora::headerOf(block)->capacity(), size + size / 4 + 1024);
    EXPECT_EQ(velmora::headerOf(block)->sizeClass() == velmora::kNoClass,
              size > velmora::kLargestOfClass)
        << size;
    EXPECT_EQ(std::count(block, block + size, 9), static_cast<int64_t>(size));
  }
  velmora::freeBlock(block);
}

// What a block must hold, beside the block.
struct Model {
  uint8_t* block;
  std::vector<uint8_t> content;

  void check() const { ASSERT_EQ(std::memcmp(block, content.data(), content.size()), 0); }
};

TEST_F(QuickHeap, KeepsContentsOverManyChangesOfSize) {
  std::minstd_rand random(1);
  const auto anySize = [&random] {
    const uint64_t most = uint64_t{1} << random() % 19;
    return random() % most + 1;
  };
  std::vector<Model> models;
  for (int step = 0; step < 20'000; ++step) {
    const size_t which = models.empty() ? 0 : random() % models.size();
    const uint64_t size = anySize();
    if (models.size() < 10 || (models.size() < 40 && random() % 3 == 0)) {
      models.push_back({allocate(size), std::vector<uint8_t>(size)});
    } else if (random() % 2 == 0) {
      models[which].check();
      velmora::freeBlock(models[which].block);
      models.erase(models.begin() + static_cast<int64_t>(which));
      continue;
    } else {
      Model& model = models[which];
      model.block = reallocate(model.block, size);
      const size_t kept = std::min<size_t>(model.content.size(), size);
      model.content.resize(size);
      std::memcpy(model.content.data() + kept, model.block + kept, size - kept);
    }
    Model& changed = models[models.size() < which + 1 ? 0 : which];
    changed.check();
    const auto value = static_cast<uint8_t>(random());
    std::memset(changed.block, value, changed.content.size());
    std::fill(changed.content.begin(), changed.content.end(), value);
  }
  for (const Model& model : models) {
    model.check();
    velmora::freeBlock(model.block);
  }
}

TEST_F(QuickHeap, ASecondReleaseIsTold) {
  uint8_t* const block = allocate(40);
  velmora::freeBlock(block);
  EXPECT_EQ(complaint([block] { velmora::freeBlock(block); }), kNotLive);
  EXPECT_THAT(complaint([block] { EXPECT_EQ(reallocate(block, 80), nullptr); }),
              testing::StartsWith("velmora: Reallocate of something"));
  // And the block is not handed out twice.
  uint8_t* const first = allocate(40);
  uint8_t* const second = allocate(40);
  EXPECT_NE(first, second);
  velmora::freeBlock(first);
  velmora::freeBlock(second);
}

TEST_F(QuickHeap, PointersIntoBlocksAreTold) {
  uint8_t* const block = allocate(128);
  EXPECT_EQ(complaint([block] { velmora::freeBlock(block + 32); }), kNotLive);
  EXPECT_EQ(complaint([block] { velmora::freeBlock(block + 33); }), kNotLive);
  // Bytes that look like a header are none at another address.
  std::memcpy(block + 32, block - sizeof(velmora::Header), sizeof(velmora::Header));
  EXPECT_EQ(complaint([block] { velmora::freeBlock(block + 48); }), kNotLive);
  velmora::freeBlock(block);
}

TEST_F(QuickHeap, TextsBelongToTheirReleaseFunctions) {
  velmora::freeBlock(velmora::duplicateText("ab", 3));
  velmora::freeText(velmora::duplicateText("ab", 3));
  velmora::freeComponentText(velmora::duplicateComponentText("ab"));
  EXPECT_THAT(complaint([] { velmora::freeText(allocate(3)); }),
              testing::HasSubstr("string component"));
  EXPECT_THAT(complaint([] { velmora::freeBlock(velmora::duplicateComponentText("ab")); }),
              testing::HasSubstr("TextDuplicate"));
}

TEST_F(QuickHeap, BlocksMayOutliveAChangeOfMode) {
  uint8_t* const small = allocate(40);
  uint8_t* const large = allocate(100'000);
  velmora_watch_heap(1);
  uint8_t* const watched = allocate(40);
  uint8_t* const moved = reallocate(small, 41);
  EXPECT_NE(moved, small);
  EXPECT_EQ(moved[40], velmora::kGrownByte);
  velmora::freeBlock(large);
  velmora_watch_heap(0);
  uint8_t* const grown = reallocate(watched, 48);
  EXPECT_EQ(std::count(grown, grown + 40, 0), 40);
  velmora::freeBlock(grown);
  velmora::freeBlock(moved);
}

TEST_F(QuickHeap, AThreadKeepsAFewBlocksOnly) {
  const uint64_t kept = ThreadCache::allKept();
  std::vector<uint8_t*> blocks(10'000);
  for (uint8_t*& block : blocks) {
    block = allocate(64);
  }
  for (uint8_t* const block : blocks) {
    velmora::freeBlock(block);
  }
  EXPECT_LE(ThreadCache::allKept(), kept + 4096);
}

TEST_F(QuickHeap, AThreadThatEndsGivesItsBlocksBack) {
  const uint64_t kept = ThreadCache::allKept();
  uint64_t meanwhile = 0;
  std::thread([&meanwhile] {
    std::vector<uint8_t*> blocks;
    for (uint64_t size = 1; size < 100; ++size) {
      blocks.push_back(allocate(size));
    }
    for (uint8_t* const block : blocks) {
      velmora::freeBlock(block);
    }
    meanwhile = ThreadCache::allKept();
  }).join();
  EXPECT_EQ(meanwhile, kept + 99);
  EXPECT_EQ(ThreadCache::allKept(), kept);
}

TEST_F(QuickHeap, BlocksMayEndInAnotherThread) {
  constexpr int kRounds = 2000;
  for (int round = 0; round < 3; ++round) {
    std::vector<uint8_t*> blocks;
    for (int i = 0; i < kRounds; ++i) {
      blocks.push_back(allocate(static_cast<uint64_t>(i % 300)));
    }
    std::thread([&blocks] {
      for (uint8_t*& block : blocks) {
        velmora::freeBlock(block);
        block = allocate(20);
      }
    }).join();
    for (uint8_t* const block : blocks) {
      velmora::freeBlock(block);
    }
  }
}

TEST_F(QuickHeap, ThreadsDoNotMeet) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([i] {
      std::vector<uint8_t*> blocks(50);
      for (uint64_t step = 0; step < 5000; ++step) {
        uint8_t*& block = blocks[step % blocks.size()];
        if (block != nullptr) {
          ASSERT_EQ(*block, i);
          velmora::freeBlock(block);
        }
        block = allocate(step % 200 + 1);
        ASSERT_EQ(*block, 0);
        *block = static_cast<uint8_t>(i);
      }
      for (uint8_t* const block : blocks) {
        velmora::freeBlock(block);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

#if defined(VELMORA_ADDRESS_SANITIZER)
TEST_F(QuickHeap, SlackAndKeptBlocksAreOutOfBounds) {
  uint8_t* block = allocate(50);
  EXPECT_FALSE(__asan_address_is_poisoned(block + 49));
  EXPECT_TRUE(__asan_address_is_poisoned(block + 50));
  block = reallocate(block, 60);
  EXPECT_FALSE(__asan_address_is_poisoned(block + 59));
  EXPECT_TRUE(__asan_address_is_poisoned(block + 60));
  block = reallocate(block, 40);
  EXPECT_TRUE(__asan_address_is_poisoned(block + 40));
  velmora::freeBlock(block);
  EXPECT_TRUE(__asan_address_is_poisoned(block));
}
#endif

}  // namespace
}  // namespace vexa::test
