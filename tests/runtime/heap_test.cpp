#include "runtime/heap.h"

#include <gtest/gtest.h>

#include <cstring>

#include "vexa/runtime/reference.h"

namespace vexa::velmora {
namespace {

TEST(RuntimeHeap, AllocatedBlocksAreZero) {
  auto* const block = static_cast<uint8_t*>(allocateBlock(64));
  ASSERT_NE(block, nullptr);
  for (int i = 0; i < 64; ++i) {
    EXPECT_EQ(block[i], 0) << i;
  }
  freeBlock(block);
}

}  // namespace
}  // namespace vexa::velmora
