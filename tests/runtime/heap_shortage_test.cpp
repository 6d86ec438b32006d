#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

#include "runtime/basic_tables.h"
#include "runtime/heap.h"
#include "runtime/heap_block.h"
#include "runtime/heap_poison.h"
#include "vexa/results.h"
#include "vexa/runtime/reference.h"

// The heap and the trace where the system has no memory. The linker leads their calls here
// (--wrap).
namespace {

thread_local int granted = -1;  // calls until there is none; negative: never

bool isShort() { return granted >= 0 && granted-- == 0; }

}  // namespace

extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier)
void* __real_malloc(size_t size);
void* __real_calloc(size_t count, size_t size);
void* __real_realloc(void* block, size_t size);
void* __wrap_malloc(size_t size) { return isShort() ? nullptr : __real_malloc(size); }
void* __wrap_calloc(size_t count, size_t size) {
  return isShort() ? nullptr : __real_calloc(count, size);
}
void* __wrap_realloc(void* block, size_t size) {
  return isShort() ? nullptr : __real_realloc(block, size);
}
// NOLINTEND(bugprone-reserved-identifier)
}

namespace vexa::test {
namespace {

uint8_t* allocate(uint64_t size) { return static_cast<uint8_t*>(velmora::allocateBlock(size)); }

class HeapShortage : public ::testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    velmora_watch_heap(GetParam() ? 1 : 0);
    live_ = velmora_live_blocks();
  }
  void TearDown() override {
    granted = -1;
    EXPECT_EQ(velmora_live_blocks(), live_);
    velmora_watch_heap(velmora::kUnderAddressSanitizer ? 1 : 0);
  }

  // What `operation` gives when the next call of the system's fails.
  template <class Operation>
  static void* whileShort(Operation operation) {
    granted = 0;
    void* const given = operation();
    granted = -1;
    return given;
  }

  uint64_t live_ = 0;
};

constexpr uint64_t kSizes[] = {1, 40, 3001, 60'000, 300'000};

TEST_P(HeapShortage, NewBlocksAndTextsAreNull) {
  velmora::freeBlock(allocate(600));  // the thread has its cache
  for (const uint64_t size : kSizes) {
    EXPECT_EQ(whileShort([size] { return velmora::allocateBlock(size); }), nullptr) << size;
    EXPECT_EQ(whileShort([size] { return velmora::reallocateBlock(nullptr, size); }), nullptr);
    const std::string text(size, 'x');
    EXPECT_EQ(whileShort([&] { return velmora::duplicateText(text.c_str(), size + 1); }), nullptr);
    EXPECT_EQ(whileShort([&] { return velmora::duplicateComponentText(text.c_str()); }), nullptr);
  }
}

TEST_P(HeapShortage, ABlockThatCannotGrowStaysAsItWas) {
  for (const uint64_t size : kSizes) {
    uint8_t* const block = allocate(size);
    std::memset(block, 7, size);
    const uint64_t more = 1'000'000 + size;
    EXPECT_EQ(whileShort([&] { return velmora::reallocateBlock(block, more); }), nullptr) << size;
    EXPECT_EQ(std::string(reinterpret_cast<char*>(block), size), std::string(size, 7)) << size;
    auto* const grown = static_cast<uint8_t*>(velmora::reallocateBlock(block, 10 * size));
    ASSERT_NE(grown, nullptr);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(grown), size), std::string(size, 7)) << size;
    velmora::freeBlock(grown);
  }
}

// What no system has is not asked for.
TEST_P(HeapShortage, TheLargestBlockIsHalfATebibyte) {
  constexpr uint64_t kLargest = uint64_t{1} << 39;
  uint8_t* const block = allocate(40);
  for (const uint64_t size : {kLargest, kLargest + 1, ~uint64_t{0}}) {
    granted = 0;
    EXPECT_EQ(velmora::allocateBlock(size), nullptr);
    EXPECT_EQ(granted < 0, size == kLargest) << size;
    granted = 0;
    EXPECT_EQ(velmora::reallocateBlock(block, size), nullptr);
    EXPECT_EQ(granted < 0, size == kLargest) << size;
    granted = -1;
  }
  velmora::freeBlock(block);
}

// Where it lies when nobody watches, and not at all when somebody wants to see it move.
TEST_P(HeapShortage, ABlockShrinksWithoutMemoryUnlessItMustMove) {
  for (const uint64_t size : {60'000u, 300'000u, 1'000'000u}) {
    uint8_t* const block = allocate(size);
    std::memset(block, 7, size);
    for (const uint64_t less : {size / 4, uint64_t{100}}) {
      void* const shrunk = whileShort([&] { return velmora::reallocateBlock(block, less); });
      EXPECT_EQ(shrunk, GetParam() ? nullptr : block) << size << " " << less;
      EXPECT_EQ(std::string(reinterpret_cast<char*>(block), less), std::string(less, 7));
    }
    velmora::freeBlock(block);
  }
}

TEST_P(HeapShortage, AThreadWithoutACacheHasBlocksAllTheSame) {
  std::thread([] {
    granted = 0;  // the cache, or the block where there is none
    void* const block = velmora::allocateBlock(40);
    EXPECT_EQ(granted, -1);
    EXPECT_EQ(block != nullptr, !GetParam());
    velmora::freeBlock(block);
    void* const next = velmora::allocateBlock(40);
    EXPECT_NE(next, nullptr);
    velmora::freeBlock(next);
  }).join();
}

INSTANTIATE_TEST_SUITE_P(Modes, HeapShortage, ::testing::Bool(), [](const auto& test) {
  return std::string(test.param ? "Watchful" : "Quick");
});

class TraceShortage : public ::testing::Test {
 protected:
  void TearDown() override {
    granted = -1;
    velmora_clear_source_levels();
    EXPECT_EQ(velmora_set_trace(0, nullptr), kOk);
  }
};

TEST_F(TraceShortage, ALevelThatCannotBeKeptIsTold) {
  granted = 0;
  EXPECT_EQ(velmora_set_source_level("a", 3), kOutOfMemory);
  EXPECT_EQ(velmora::notifyTable.GetLevel("a", 1), 0u);
  EXPECT_EQ(velmora_set_source_level("a", 3), kOk);
  granted = 0;
  EXPECT_EQ(velmora_set_source_level("a", 2), kOk) << "is there already";
  granted = -1;
  EXPECT_EQ(velmora::notifyTable.GetLevel("a", 1), 2u);
}

TEST_F(TraceShortage, AMessageThatCannotBeWrittenIsLeftOut) {
  ASSERT_EQ(velmora_set_trace(1, nullptr), kOk);
  ::testing::internal::CaptureStderr();
  granted = 0;
  velmora::notifyTable.Message(1, "a", 0, "left out");
  velmora::notifyTable.Message(1, "a", 0, "%d", 5);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "1 a: 5\n");
}

}  // namespace
}  // namespace vexa::test
