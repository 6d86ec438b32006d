#include "runtime/heap.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "runtime/runtime_fixture.h"
#include "vexa/runtime/reference.h"

namespace vexa::test {
namespace {

using ::testing::ElementsAre;

class RuntimeHeap : public RuntimeTest {
 protected:
  uint8_t* allocate(uint64_t size) { return static_cast<uint8_t*>(spy.root.Allocate(size)); }
};

TEST_F(RuntimeHeap, AllocatedBlocksAreZero) {
  uint8_t* const block = allocate(300);
  for (int i = 0; i < 300; ++i) {
    EXPECT_EQ(block[i], 0) << i;
  }
  spy.root.Free(block);
}

TEST_F(RuntimeHeap, SizeZeroGivesABlock) {
  uint8_t* const block = allocate(0);
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(*block, 0);
  spy.root.Free(block);
}

TEST_F(RuntimeHeap, AnImpossibleSizeGivesNull) {
  EXPECT_EQ(spy.root.Allocate(~uint64_t{0}), nullptr);
  EXPECT_EQ(spy.root.Allocate(uint64_t{1} << 62), nullptr);
}

TEST_F(RuntimeHeap, ReallocateOfNullAllocates) {
  auto* const block = static_cast<uint8_t*>(spy.root.Reallocate(nullptr, 4));
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(block[3], 0);
  spy.root.Free(block);
}

TEST_F(RuntimeHeap, ReallocateKeepsTheContent) {
  uint8_t* block = allocate(3);
  std::memcpy(block, "abc", 3);
  block = static_cast<uint8_t*>(spy.root.Reallocate(block, 1000));
  EXPECT_EQ(std::memcmp(block, "abc", 3), 0);
  block = static_cast<uint8_t*>(spy.root.Reallocate(block, 2));
  EXPECT_EQ(std::memcmp(block, "ab", 2), 0);
  spy.root.Free(block);
}

TEST_F(RuntimeHeap, AFailedReallocateKeepsTheOldBlock) {
  uint8_t* const block = allocate(1);
  *block = 7;
  spy.failAllocation(1);
  EXPECT_EQ(spy.root.Reallocate(block, 100), nullptr);
  EXPECT_EQ(spy.root.Reallocate(block, ~uint64_t{0}), nullptr);
  EXPECT_EQ(*block, 7);
  spy.root.Free(block);
}

// What tests look for secrets in.
TEST_F(RuntimeHeap, WhoWatchesSeesABlockAsItIsReleased) {
  std::vector<std::string> seen;
  spy.onFree = [&seen](const uint8_t* bytes, uint64_t size) {
    seen.emplace_back(reinterpret_cast<const char*>(bytes), size);
  };
  auto* block = static_cast<char*>(spy.root.Allocate(3));
  std::copy_n("abc", 3, block);
  block = static_cast<char*>(spy.root.Reallocate(block, 2));
  spy.root.Free(block);
  spy.onFree = nullptr;
  EXPECT_THAT(seen, ElementsAre("abc", "ab"));
}

TEST_F(RuntimeHeap, NullIsReleasedByDoingNothing) {
  spy.root.Free(nullptr);
  spy.strings.TextRelease(nullptr);
  spy.commonTypes.TextRelease(nullptr);
  EXPECT_TRUE(spy.takeHeapErrors().empty());
}

TEST_F(RuntimeHeap, StringTextsAreReleasedByEitherFunction) {
  spy.root.Free(strings.TextDuplicate("a"));
  strings.TextRelease(strings.TextDuplicate("a"));
  spy.root.Free(wides.TextDuplicate(u"a"));
  wides.TextRelease(wides.TextDuplicate(u"a"));
  EXPECT_TRUE(spy.takeHeapErrors().empty());
}

TEST_F(RuntimeHeap, ComponentTextsBelongToTheirReleaseFunction) {
  spy.commonTypes.TextRelease(spy.commonTypes.TextDuplicate("a"));
  EXPECT_TRUE(spy.takeHeapErrors().empty());

  spy.root.Free(spy.commonTypes.TextDuplicate("a"));
  strings.TextRelease(spy.commonTypes.TextDuplicate("a"));
  spy.commonTypes.TextRelease(strings.TextDuplicate("a"));
  spy.commonTypes.TextRelease(static_cast<char*>(spy.root.Allocate(1)));
  EXPECT_THAT(
      spy.takeHeapErrors(),
      ElementsAre("a text of TextDuplicate released by Free instead of TextRelease",
                  "TextRelease of the string component for a block that it did not make",
                  "TextRelease of the common types for a block that TextDuplicate did not make",
                  "TextRelease of the common types for a block that TextDuplicate did not make"));
}

TEST_F(RuntimeHeap, StringTextReleaseRefusesRootBlocks) {
  strings.TextRelease(static_cast<char*>(spy.root.Allocate(1)));
  EXPECT_THAT(spy.takeHeapErrors(),
              ElementsAre("TextRelease of the string component for a block that it did not make"));
}

TEST_F(RuntimeHeap, ForeignBlocksAreToldAndLeftAlone) {
  uint64_t foreign[4] = {};
  const uint64_t errors = velmora_heap_errors();
  spy.root.Free(&foreign[2]);
  EXPECT_EQ(spy.root.Reallocate(&foreign[2], 8), nullptr);
  strings.TextRelease(reinterpret_cast<char*>(&foreign[2]));
  spy.commonTypes.TextRelease(reinterpret_cast<char*>(&foreign[2]));
  EXPECT_THAT(
      spy.takeHeapErrors(),
      ElementsAre("Free of something that is not a live block",
                  "Reallocate of something that is not a live block",
                  "TextRelease of the string component for a block that it did not make",
                  "TextRelease of the common types for a block that TextDuplicate did not make"));
  EXPECT_EQ(velmora_heap_errors(), errors + 4);
}

TEST_F(RuntimeHeap, ComponentTextsOfNullAreNull) {
  EXPECT_EQ(spy.commonTypes.TextDuplicate(nullptr), nullptr);
}

TEST_F(RuntimeHeap, LiveBlocksAreExported) {
  const uint64_t before = velmora_live_blocks();
  void* const block = spy.root.Allocate(1);
  EXPECT_EQ(velmora_live_blocks(), before + 1);
  spy.root.Free(block);
  EXPECT_EQ(velmora_live_blocks(), before);
}

TEST_F(RuntimeHeap, ManyThreadsLeaveNothingBehind) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([this] {
      for (uint64_t size = 0; size < 500; ++size) {
        spy.root.Free(spy.root.Reallocate(spy.root.Allocate(size), size + 1));
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(spy.allocations(), 4u * 500u * 2u);
}

TEST(RuntimeHeapAlone, WorksUnobserved) {
  const uint64_t before = velmora::liveBlocks();
  void* const block = velmora::reallocateBlock(velmora::allocateBlock(4), 400);
  EXPECT_EQ(velmora::liveBlocks(), before + 1);
  velmora::freeBlock(block);
  EXPECT_EQ(velmora::liveBlocks(), before);
}

TEST(RuntimeHeapAlone, TellsWrongReleasesOnTheStandardError) {
  testing::internal::CaptureStderr();
  velmora::freeBlock(velmora::duplicateComponentText("x"));
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "velmora: a text of TextDuplicate released by Free instead of TextRelease\n");
}

}  // namespace
}  // namespace vexa::test
