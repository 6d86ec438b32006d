#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "pal/windows_api.h"

namespace {

bool isAll(const void* block, char value, std::size_t from, std::size_t to) {
  const char* bytes = static_cast<const char*>(block);
  return std::all_of(bytes + from, bytes + to, [value](char c) { return c == value; });
}

}  // namespace

TEST(Heap, BlocksCanBeClearedFromTheStart) {
  void* block = HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, 1000);
  ASSERT_NE(block, nullptr);
  EXPECT_TRUE(isAll(block, 0, 0, 1000));
  EXPECT_TRUE(HeapFree(GetProcessHeap(), 0, block));
}

TEST(Heap, NoBytesAreABlockToo) {
  void* block = HeapAlloc(GetProcessHeap(), 0, 0);
  EXPECT_NE(block, nullptr);
  EXPECT_TRUE(HeapFree(GetProcessHeap(), 0, block));
}

TEST(Heap, GrowingKeepsTheOldBytesAndClearsTheNew) {
  void* block = HeapAlloc(GetProcessHeap(), 0, 10);
  ASSERT_NE(block, nullptr);
  std::memset(block, 'x', 10);
  block = HeapReAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, block, 21);
  ASSERT_NE(block, nullptr);
  EXPECT_TRUE(isAll(block, 'x', 0, 10));
  EXPECT_TRUE(isAll(block, 0, 10, 21));
  block = HeapReAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, block, 5000);
  ASSERT_NE(block, nullptr);
  EXPECT_TRUE(isAll(block, 'x', 0, 10));
  EXPECT_TRUE(isAll(block, 0, 10, 5000));
  HeapFree(GetProcessHeap(), 0, block);
}

TEST(Heap, GrowingAfterShrinkingClearsWhatWasCutOff) {
  void* block = HeapAlloc(GetProcessHeap(), 0, 100);
  ASSERT_NE(block, nullptr);
  std::memset(block, 'x', 100);
  block = HeapReAlloc(GetProcessHeap(), 0, block, 10);
  ASSERT_NE(block, nullptr);
  block = HeapReAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, block, 100);
  ASSERT_NE(block, nullptr);
  EXPECT_TRUE(isAll(block, 'x', 0, 10));
  EXPECT_TRUE(isAll(block, 0, 10, 100));
  HeapFree(GetProcessHeap(), 0, block);
}

TEST(Heap, GrowingFromNothingClearsAll) {
  for (const SIZE_T left : {SIZE_T{0}, SIZE_T{1}}) {
    void* block = HeapAlloc(GetProcessHeap(), 0, 100);
    ASSERT_NE(block, nullptr);
    std::memset(block, 'x', 100);
    block = HeapReAlloc(GetProcessHeap(), 0, block, left);
    ASSERT_NE(block, nullptr);
    block = HeapReAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, block, 100);
    ASSERT_NE(block, nullptr);
    EXPECT_TRUE(isAll(block, 0, left, 100)) << left;
    HeapFree(GetProcessHeap(), 0, block);
  }
}

TEST(Heap, ShrinkingKeepsWhatIsLeft) {
  for (const DWORD flags : {DWORD{0}, DWORD{HEAP_ZERO_MEMORY}}) {
    void* block = HeapAlloc(GetProcessHeap(), 0, 1000);
    ASSERT_NE(block, nullptr);
    std::memset(block, 'x', 1000);
    block = HeapReAlloc(GetProcessHeap(), flags, block, 10);
    ASSERT_NE(block, nullptr);
    EXPECT_TRUE(isAll(block, 'x', 0, 10));
    HeapFree(GetProcessHeap(), 0, block);
  }
}

TEST(Heap, NothingCannotGrow) { EXPECT_EQ(HeapReAlloc(GetProcessHeap(), 0, nullptr, 10), nullptr); }

TEST(Heap, NothingCanBeReleased) { EXPECT_TRUE(HeapFree(GetProcessHeap(), 0, nullptr)); }

TEST(GlobalHeap, BlocksCanBeClearedAndReleased) {
  void* block = GlobalAlloc(GPTR, 100);
  ASSERT_NE(block, nullptr);
  EXPECT_TRUE(isAll(block, 0, 0, 100));
  EXPECT_EQ(GlobalFree(block), nullptr);
}

TEST(GlobalHeap, NothingCanBeReleased) { EXPECT_EQ(GlobalFree(nullptr), nullptr); }
