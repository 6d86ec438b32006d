#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "base/buffer.h"
#include "support/module_fixture.h"
#include "support/sweep.h"
#include "vexa/core.h"

namespace vexa::test {
namespace {

using runtime::ByteBuffer;

class BufferSlots : public ModuleTest {
 protected:
  int32_t alloc(uint64_t size, ByteBuffer** out) {
    return tableEntry<int32_t(uint64_t, ByteBuffer**)>(list(kCoreListName), 5)(size, out);
  }
  int32_t fromBytes(const void* data, uint64_t length, ByteBuffer** out) {
    return tableEntry<int32_t(const void*, uint64_t, ByteBuffer**)>(list(kCoreListName), 6)(
        data, length, out);
  }
  int32_t fromRange(const void* start, const void* end, ByteBuffer** out) {
    return tableEntry<int32_t(const void*, const void*, ByteBuffer**)>(list(kCoreListName), 7)(
        start, end, out);
  }
  void terminate(ByteBuffer* any) { tableEntry<void(ByteBuffer*)>(list(kCoreListName), 4)(any); }
  void release(ByteBuffer*& owned) {
    spy.commonTypes.BufferRelease(owned);
    owned = nullptr;
  }

  ByteBuffer* buffer = nullptr;
};

TEST_F(BufferSlots, AllocBufferMakesRecordAndData) {
  ASSERT_EQ(alloc(5, &buffer), kOk);
  EXPECT_EQ(buffer->length, 5u);
  std::memset(buffer->data, 1, 5);
  release(buffer);
  ASSERT_EQ(alloc(0, &buffer), kOk);
  EXPECT_EQ(buffer->length, 0u);
  EXPECT_NE(buffer->data, nullptr);
  release(buffer);
}

TEST_F(BufferSlots, NullOutsFailWithTheFamilysOwnCode) {
  EXPECT_EQ(alloc(1, nullptr), kBufferFail);
  EXPECT_EQ(fromBytes("a", 1, nullptr), kBufferFail);
  EXPECT_EQ(fromRange("a", "a", nullptr), kBufferFail);
  EXPECT_EQ(kBufferFail, -1);
}

TEST_F(BufferSlots, AFailedDataBlockReleasesTheRecordThroughTheCommonTypes) {
  static ByteBuffer released;
  static int releases;
  releases = 0;
  static auto* const original = spy.commonTypes.BufferRelease;
  spy.commonTypes.BufferRelease = [](ByteBuffer* record) {
    released = *record;
    ++releases;
    original(record);
  };
  spy.failAllocation(2);
  buffer = &released;
  EXPECT_EQ(alloc(7, &buffer), kBufferFail);
  EXPECT_EQ(buffer, nullptr);
  EXPECT_EQ(releases, 1);
  EXPECT_EQ(released.data, nullptr);
  EXPECT_EQ(released.length, 7u);
}

TEST_F(BufferSlots, BufferFromBytesCopiesAndTerminates) {
  const char bytes[] = {'a', 0, 'b'};
  ASSERT_EQ(fromBytes(bytes, sizeof(bytes), &buffer), kOk);
  EXPECT_EQ(buffer->length, 3u);
  EXPECT_EQ(std::memcmp(buffer->data, "a\0b\0", 4), 0);
  release(buffer);
  ASSERT_EQ(fromBytes(nullptr, 0, &buffer), kOk);
  EXPECT_EQ(buffer->length, 0u);
  EXPECT_EQ(buffer->data[0], 0);
  release(buffer);
}

TEST_F(BufferSlots, EveryLengthIsCopiedWhole) {
  const std::string bytes = "0123456789";
  for (uint64_t length = 0; length <= bytes.size(); ++length) {
    ASSERT_EQ(fromBytes(bytes.data(), length, &buffer), kOk);
    EXPECT_EQ(buffer->length, length);
    EXPECT_EQ(reinterpret_cast<const char*>(buffer->data), bytes.substr(0, length));
    release(buffer);
  }
}

TEST_F(BufferSlots, ALengthThatLeavesNoRoomForTheTerminatorFails) {
  buffer = reinterpret_cast<ByteBuffer*>(this);
  EXPECT_EQ(fromBytes("a", UINT64_MAX, &buffer), kBufferFail);
  EXPECT_EQ(buffer, nullptr);
}

TEST_F(BufferSlots, BufferFromRangeRefusesAStartAboveTheEnd) {
  const char text[] = "abc";
  ASSERT_EQ(fromRange(text, text + 2, &buffer), kOk);
  EXPECT_STREQ(reinterpret_cast<char*>(buffer->data), "ab");
  release(buffer);
  buffer = reinterpret_cast<ByteBuffer*>(this);
  EXPECT_EQ(fromRange(text + 1, text, &buffer), kBufferFail);
  EXPECT_EQ(buffer, nullptr);
}

TEST_F(BufferSlots, TerminateBufferAddsAnUncountedZeroByte) {
  ASSERT_EQ(alloc(2, &buffer), kOk);
  std::memcpy(buffer->data, "xy", 2);
  terminate(buffer);
  EXPECT_EQ(buffer->length, 2u);
  EXPECT_STREQ(reinterpret_cast<char*>(buffer->data), "xy");
  release(buffer);
}

TEST_F(BufferSlots, TerminateBufferGrowsTheDataByOneByte) {
  static auto* const reallocate = spy.root.Reallocate;
  static std::vector<uint64_t> sizes;
  sizes.clear();
  spy.root.Reallocate = [](void* block, uint64_t size) {
    sizes.push_back(size);
    return reallocate(block, size);
  };
  ASSERT_EQ(alloc(2, &buffer), kOk);
  std::memcpy(buffer->data, "xy", 2);
  terminate(buffer);
  EXPECT_EQ(sizes, std::vector<uint64_t>{3});
  release(buffer);
}

TEST_F(BufferSlots, TerminateBufferLeavesATerminatedOneAlone) {
  ASSERT_EQ(fromBytes("x", 2, &buffer), kOk);
  const uint64_t before = spy.allocations();
  terminate(buffer);
  EXPECT_EQ(spy.allocations(), before);
  release(buffer);
}

TEST_F(BufferSlots, TerminateBufferTerminatesAnEmptyOne) {
  ASSERT_EQ(alloc(0, &buffer), kOk);
  terminate(buffer);
  EXPECT_EQ(buffer->length, 0u);
  EXPECT_EQ(buffer->data[0], 0);
  release(buffer);
}

TEST_F(BufferSlots, TerminateBufferLeavesWhatItCannotGrow) {
  terminate(nullptr);
  ByteBuffer empty{};
  terminate(&empty);
  EXPECT_EQ(empty.data, nullptr);
  ASSERT_EQ(alloc(1, &buffer), kOk);
  buffer->data[0] = 'x';
  spy.failAllocation(1);
  terminate(buffer);
  EXPECT_EQ(buffer->data[0], 'x');
  release(buffer);
}

TEST(BufferBytes, AreOrderedByLengthAndThenByContent) {
  uint8_t one[] = {1};
  uint8_t high[] = {0xFF};
  uint8_t two[] = {0, 0};
  const ByteBuffer ordered[] = {{0, nullptr}, {1, one}, {1, high}, {2, two}};
  for (const ByteBuffer& a : ordered) {
    for (const ByteBuffer& b : ordered) {
      const int result = base::compareBytes(a, b);
      EXPECT_EQ(result < 0, &a < &b);
      EXPECT_EQ(result > 0, &a > &b);
    }
  }
  EXPECT_EQ(base::compareBytes({0, one}, {0, nullptr}), 0);
}

TEST_F(BufferSlots, EveryFailedAllocationLeavesNothingBehind) {
  sweepAllocations(spy, [this] {
    const bool done = fromBytes("abc", 3, &buffer) == kOk;
    release(buffer);
    return done;
  });
}

}  // namespace
}  // namespace vexa::test
