#include <gtest/gtest.h>

#include "pal/posix/counters.h"
#include "pal/windows_api.h"

TEST(PosixHeap, CountsItsBlocks) {
  const std::size_t before = pal::posix::heapBlocks();
  void* block = HeapAlloc(GetProcessHeap(), 0, 10);
  HGLOBAL global = GlobalAlloc(GMEM_FIXED, 10);
  EXPECT_EQ(pal::posix::heapBlocks(), before + 2);
  block = HeapReAlloc(GetProcessHeap(), 0, block, 1000);
  EXPECT_EQ(pal::posix::heapBlocks(), before + 2);
  HeapFree(GetProcessHeap(), 0, block);
  GlobalFree(global);
  EXPECT_EQ(pal::posix::heapBlocks(), before);
}

TEST(PosixHeap, KnowsNoOtherHeap) {
  int other = 0;
  EXPECT_EQ(HeapAlloc(&other, 0, 10), nullptr);
  void* block = HeapAlloc(GetProcessHeap(), 0, 10);
  EXPECT_EQ(HeapReAlloc(&other, 0, block, 20), nullptr);
  EXPECT_TRUE(HeapFree(GetProcessHeap(), 0, block));
  SetLastError(0);
  EXPECT_FALSE(HeapFree(&other, 0, nullptr));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
}

TEST(PosixHeap, HasNoMovableBlocks) {
  constexpr UINT kMovable = 2;
  SetLastError(0);
  EXPECT_EQ(GlobalAlloc(kMovable, 10), nullptr);
  EXPECT_EQ(GetLastError(), ERROR_NOT_SUPPORTED);
}

TEST(PosixHeap, ABlockOfNothingIsStillABlock) {
  const std::size_t before = pal::posix::heapBlocks();
  void* block = HeapAlloc(GetProcessHeap(), 0, 10);
  block = HeapReAlloc(GetProcessHeap(), 0, block, 0);
  EXPECT_NE(block, nullptr);
  EXPECT_EQ(pal::posix::heapBlocks(), before + 1);
  EXPECT_TRUE(HeapFree(GetProcessHeap(), 0, block));
  EXPECT_EQ(pal::posix::heapBlocks(), before);
}
