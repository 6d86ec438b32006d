#include <gtest/gtest.h>

#include <string>

#include "runtime/runtime_fixture.h"
#include "support/exact_bytes.h"
#include "support/slot.h"
#include "support/sweep.h"

namespace vexa::test {
namespace {

class CommonTypesTest : public RuntimeTest {
 protected:
  const runtime::CommonTypes& types = spy.commonTypes;
};

// --- Type operations ---

TEST_F(CommonTypesTest, EntryTwoDuplicatesObjects) {
  runtime::Stream* stream = nullptr;
  ASSERT_EQ(spy.io.CreateMemoryStream(&stream), kOk);
  const void* const operations = reinterpret_cast<void* const*>(&spy.commonTypes)[2];
  void* copy = nullptr;
  EXPECT_EQ((tableEntry<int32_t(void*, void**)>(operations, 4)(stream, &copy)), kOk);
  ASSERT_NE(copy, nullptr);
  EXPECT_NE(copy, stream);
  EXPECT_EQ(call<uint32_t>(copy, 2), 0u);
  EXPECT_EQ(call<uint32_t>(stream, 2), 0u);
}

TEST_F(CommonTypesTest, NullDuplicatesToNull) {
  void* copy = &copy;
  EXPECT_EQ(types.typeOperations->Duplicate(nullptr, &copy), kOk);
  EXPECT_EQ(copy, nullptr);
  EXPECT_EQ(types.typeOperations->Duplicate(nullptr, nullptr), kNullPointer);
}

// --- Texts ---

TEST_F(CommonTypesTest, TextsAreCopied) {
  const ExactText source("component");
  char* const copy = types.TextDuplicate(source);
  EXPECT_NE(copy, source.get());
  EXPECT_STREQ(copy, "component");
  types.TextRelease(copy);
  spy.failAllocation(1);
  EXPECT_EQ(types.TextDuplicate(source), nullptr);
}

// --- Buffers ---

TEST_F(CommonTypesTest, BufferReleaseFreesDataAndRecord) {
  auto* buffer = static_cast<runtime::ByteBuffer*>(spy.root.Allocate(16));
  buffer->data = static_cast<uint8_t*>(spy.root.Allocate(5));
  buffer->length = 5;
  types.BufferRelease(buffer);
  buffer = static_cast<runtime::ByteBuffer*>(spy.root.Allocate(16));
  types.BufferRelease(buffer);
  types.BufferRelease(nullptr);
}

TEST_F(CommonTypesTest, BuffersAreEqualByLengthAndBytes) {
  const ExactBytes abc({'a', 'b', 'c'});
  const ExactBytes same({'a', 'b', 'c'});
  const ExactBytes upper({'A', 'b', 'c'});
  const ExactBytes shorter({'a', 'b'});
  const runtime::ByteBuffer a = abc.buffer();
  const runtime::ByteBuffer b = same.buffer();
  const runtime::ByteBuffer c = upper.buffer();
  const runtime::ByteBuffer d = shorter.buffer();
  EXPECT_EQ(types.BufferCompare(&a, &b), 0);
  EXPECT_NE(types.BufferCompare(&a, &c), 0);
  EXPECT_NE(types.BufferCompare(&a, &d), 0);
  EXPECT_NE(types.BufferCompare(&d, &a), 0);
}

TEST_F(CommonTypesTest, BuffersOfEveryLengthDifferByAnyByte) {
  for (size_t length = 1; length < 40; ++length) {
    const std::string text(length, 'x');
    const ExactBytes bytes(text);
    const ExactBytes others(text);
    const runtime::ByteBuffer a = bytes.buffer();
    const runtime::ByteBuffer b = others.buffer();
    EXPECT_EQ(types.BufferCompare(&a, &b), 0) << length;
    for (size_t place = 0; place < length; ++place) {
      others.data()[place] = 'y';
      EXPECT_NE(types.BufferCompare(&a, &b), 0) << length << " at " << place;
      others.data()[place] = 'x';
    }
  }
}

TEST_F(CommonTypesTest, EmptyBuffersAreEqual) {
  const ExactBytes bytes({1});
  const runtime::ByteBuffer withData{0, bytes.data()};
  const runtime::ByteBuffer without{0, nullptr};
  EXPECT_EQ(types.BufferCompare(&withData, &without), 0);
  EXPECT_EQ(types.BufferCompare(nullptr, nullptr), 0);
  EXPECT_NE(types.BufferCompare(nullptr, &without), 0);
  EXPECT_NE(types.BufferCompare(&without, nullptr), 0);
}

TEST_F(CommonTypesTest, HexGivesBytes) {
  runtime::ByteBuffer* buffer = nullptr;
  ASSERT_EQ(types.BufferFromHex("01", &buffer), kOk);
  ASSERT_EQ(buffer->length, 1u);
  EXPECT_EQ(buffer->data[0], 0x01);
  const runtime::ByteBuffer* const first = buffer;
  ASSERT_EQ(types.BufferFromHex("aF09", &buffer), kOk);
  EXPECT_EQ(buffer, first);  // a given record is filled anew
  ASSERT_EQ(buffer->length, 2u);
  EXPECT_EQ(buffer->data[0], 0xAF);
  EXPECT_EQ(buffer->data[1], 0x09);
  ASSERT_EQ(types.BufferFromHex("", &buffer), kOk);
  EXPECT_EQ(buffer->length, 0u);
  types.BufferRelease(buffer);
}

TEST_F(CommonTypesTest, BadHexIsRefused) {
  for (const char* const hex : {"0", "0g", "g0", "012", "0x01", " 01"}) {
    runtime::ByteBuffer* buffer = nullptr;
    EXPECT_EQ(types.BufferFromHex(hex, &buffer), kInvalidArgument) << hex;
    EXPECT_EQ(buffer, nullptr);
  }
  runtime::ByteBuffer* buffer = nullptr;
  EXPECT_EQ(types.BufferFromHex(nullptr, &buffer), kNullPointer);
  EXPECT_EQ(types.BufferFromHex("01", nullptr), kNullPointer);
}

TEST_F(CommonTypesTest, HexLeaksNothingWhenMemoryIsShort) {
  EXPECT_EQ(sweepAllocations(spy,
                             [this] {
                               runtime::ByteBuffer* buffer = nullptr;
                               const int32_t result = types.BufferFromHex("0102", &buffer);
                               EXPECT_TRUE(result == kOk || result == kOutOfMemory) << result;
                               types.BufferRelease(buffer);
                               return result == kOk;
                             }),
            2);
}

}  // namespace
}  // namespace vexa::test
