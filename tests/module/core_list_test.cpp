#include <gtest/gtest.h>

#include "support/module_fixture.h"
#include "vexa/core.h"

namespace vexa::test {
namespace {

class CoreListSlots : public ModuleTest {
 protected:
  const void* core() { return list(kCoreListName); }
};

TEST_F(CoreListSlots, ReservedSlotsAnswerAsTheyStand) {
  int word = 0;
  void* const pointer = &word;
  EXPECT_EQ((tableEntry<int32_t(void*, void*, void*)>(core(), 1)(pointer, pointer, pointer)), 0);
  tableEntry<void(void*, void*, void*)>(core(), 2)(nullptr, nullptr, nullptr);
  EXPECT_EQ((tableEntry<void*(void*, void*, void*)>(core(), 3)(nullptr, pointer, nullptr)),
            pointer);
  EXPECT_EQ((tableEntry<int32_t(uint32_t, uint8_t)>(core(), 14)(1, 2)), 0);
}

struct SizeCase {
  uint32_t algorithm;
  int32_t result;
  uint64_t blockBytes;
  uint64_t keyBits;
};
constexpr SizeCase kSizes[] = {
    {1, kOk, 8, 56},
    {2, kOk, 8, 168},
    {3, kInvalidArgument, 0, 0},
    {4, kOk, 8, 128},
    {5, kInvalidArgument, 0, 0},
    {6, kInvalidArgument, 0, 0},
    {7, kOk, 8, 192},
    {8, kInvalidArgument, 0, 0},
    {9, kInvalidArgument, 0, 0},
    {10, kOk, 16, 128},
    {11, kOk, 16, 192},
    {12, kOk, 16, 256},
    {13, kInvalidArgument, 0, 0},
    {0x101, kInvalidArgument, 0, 0},
    {0xFFFFFFFF, kInvalidArgument, 0, 0},
};

TEST_F(CoreListSlots, CipherSizesFollowTheTable) {
  auto* blockSize = tableEntry<int32_t(uint32_t, uint64_t*)>(core(), 12);
  auto* keySize = tableEntry<int32_t(uint32_t, uint64_t*)>(core(), 13);
  for (const SizeCase& size : kSizes) {
    uint64_t out = 99;
    EXPECT_EQ(blockSize(size.algorithm, &out), size.result) << size.algorithm;
    EXPECT_EQ(out, size.blockBytes) << size.algorithm;
    out = 99;
    EXPECT_EQ(keySize(size.algorithm, &out), size.result) << size.algorithm;
    EXPECT_EQ(out, size.keyBits) << size.algorithm;
  }
}

TEST_F(CoreListSlots, CipherSizesRefuseId0AndNullBeforeTheyTouchTheOut) {
  for (const int slot : {12, 13}) {
    auto* sizeOf = tableEntry<int32_t(uint32_t, uint64_t*)>(core(), slot);
    uint64_t out = 99;
    EXPECT_EQ(sizeOf(0, &out), kInvalidArgument);
    EXPECT_EQ(out, 99u);
    EXPECT_EQ(sizeOf(1, nullptr), kInvalidArgument);
  }
}

}  // namespace
}  // namespace vexa::test
