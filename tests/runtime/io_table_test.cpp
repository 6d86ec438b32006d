#include <gtest/gtest.h>

#include <string>

#include "runtime/runtime_fixture.h"
#include "support/exact_bytes.h"
#include "support/slot.h"
#include "support/sweep.h"

namespace vexa::test {
namespace {

using namespace std::string_view_literals;

class IoTableTest : public RuntimeTest {
 protected:
  runtime::Stream* create() {
    runtime::Stream* stream = nullptr;
    EXPECT_EQ(spy.io.CreateMemoryStream(&stream), kOk);
    return stream;
  }
  void write(runtime::Stream* stream, std::string_view text) {
    const ExactBytes bytes(text);
    EXPECT_EQ(spy.io.Write(stream, bytes.data(), bytes.size()), kOk);
  }
  std::string content(runtime::Stream* stream) {
    runtime::ByteBuffer* buffer = nullptr;
    EXPECT_EQ(spy.io.GetContent(stream, &buffer), kOk);
    EXPECT_EQ(buffer->data[buffer->length], 0);  // uncounted
    std::string text(reinterpret_cast<char*>(buffer->data), buffer->length);
    spy.commonTypes.BufferRelease(buffer);
    return text;
  }
  uint32_t release(runtime::Stream* stream) { return call<uint32_t>(stream, 2); }
};

TEST_F(IoTableTest, PiecesAreJoined) {
  runtime::Stream* const stream = create();
  write(stream, "{");
  write(stream, "");
  write(stream, "a\0b"sv);
  EXPECT_EQ(spy.io.Write(stream, nullptr, 0), kOk);
  EXPECT_EQ(content(stream), std::string("{a\0b", 4));
  write(stream, "}");
  EXPECT_EQ(content(stream), std::string("{a\0b}", 5));
  EXPECT_EQ(release(stream), 0u);
}

TEST_F(IoTableTest, AnEmptyStreamHasEmptyContent) {
  runtime::Stream* const stream = create();
  EXPECT_EQ(content(stream), "");
  release(stream);
}

TEST_F(IoTableTest, LongContentIsKept) {
  runtime::Stream* const stream = create();
  std::string expected;
  for (int i = 0; i < 100; ++i) {
    const std::string piece(static_cast<size_t>(i) * 17, static_cast<char>('a' + i % 26));
    write(stream, piece);
    expected += piece;
  }
  EXPECT_EQ(content(stream), expected);
  release(stream);
}

TEST_F(IoTableTest, PiecesOfEveryLengthAreCopiedExactly) {
  runtime::Stream* const stream = create();
  std::string expected;
  for (size_t length = 0; length < 70; ++length) {
    std::string piece;
    for (size_t i = 0; i < length; ++i) {
      piece += static_cast<char>(length * 31 + i * 7);
    }
    write(stream, piece);
    expected += piece;
  }
  EXPECT_EQ(content(stream), expected);
  release(stream);
}

TEST_F(IoTableTest, SlotsHaveTheirNumbers) {
  runtime::Stream* stream = nullptr;
  EXPECT_EQ(tableEntry<int32_t(runtime::Stream**)>(&spy.io, 5)(&stream), kOk);
  EXPECT_EQ(
      (tableEntry<int32_t(runtime::Stream*, const void*, uint64_t)>(&spy.io, 6)(stream, "x", 1)),
      kOk);
  EXPECT_EQ(content(stream), "x");
  release(stream);
}

TEST_F(IoTableTest, StreamsAreCounted) {
  runtime::Stream* const stream = create();
  EXPECT_EQ(call<uint32_t>(stream, 1), 2u);
  EXPECT_EQ(release(stream), 1u);
  EXPECT_STREQ(call<const char*>(stream, 3), "MemoryStream");
  EXPECT_EQ(release(stream), 0u);
}

TEST_F(IoTableTest, ADuplicateIsIndependent) {
  runtime::Stream* const stream = create();
  write(stream, "ab");
  void* copy = nullptr;
  EXPECT_EQ(call<int32_t>(stream, 4, &copy), kOk);
  write(stream, "c");
  EXPECT_EQ(content(static_cast<runtime::Stream*>(copy)), "ab");
  EXPECT_EQ(release(stream), 0u);
  EXPECT_EQ(release(static_cast<runtime::Stream*>(copy)), 0u);
}

// Neither for nothing nor before it is full.
TEST_F(IoTableTest, RoomIsTakenWhereItIsNeeded) {
  runtime::Stream* const stream = create();
  const uint64_t before = spy.allocations();
  write(stream, "");
  EXPECT_EQ(spy.allocations(), before);
  write(stream, std::string(511, 'a'));
  write(stream, "b");
  EXPECT_EQ(spy.allocations(), before + 1);
  write(stream, "c");
  EXPECT_EQ(spy.allocations(), before + 2);
  EXPECT_EQ(content(stream), std::string(511, 'a') + "bc");
  release(stream);
}

TEST_F(IoTableTest, AFailedWriteKeepsWhatWasWritten) {
  runtime::Stream* const stream = create();
  write(stream, "ab");
  const std::string large(100000, 'x');
  spy.failAllocation(1);
  EXPECT_EQ(spy.io.Write(stream, large.data(), large.size()), kOutOfMemory);
  EXPECT_EQ(content(stream), "ab");
  release(stream);
}

TEST_F(IoTableTest, ShortMemoryLeaksNothing) {
  sweepAllocations(spy, [this] {
    runtime::Stream* stream = nullptr;
    int32_t result = spy.io.CreateMemoryStream(&stream);
    EXPECT_TRUE(result == kOk || result == kOutOfMemory) << result;
    if (result != kOk) {
      return false;
    }
    auto* buffer = reinterpret_cast<runtime::ByteBuffer*>(stream);
    void* copy = stream;
    result = spy.io.Write(stream, "abc", 3);
    EXPECT_TRUE(result == kOk || result == kOutOfMemory) << result;
    const int32_t content = spy.io.GetContent(stream, &buffer);
    EXPECT_EQ(buffer != nullptr, content == kOk);
    const int32_t duplicate = call<int32_t>(stream, 4, &copy);
    EXPECT_EQ(copy != nullptr, duplicate == kOk);
    for (const int32_t each : {content, duplicate}) {
      result = result == kOk ? each : result;
    }
    EXPECT_TRUE(result == kOk || result == kOutOfMemory) << result;
    spy.commonTypes.BufferRelease(buffer);
    if (copy != nullptr) {
      release(static_cast<runtime::Stream*>(copy));
    }
    release(stream);
    return result == kOk;
  });
}

TEST_F(IoTableTest, NullArgumentsAreRefused) {
  runtime::ByteBuffer* buffer = nullptr;
  EXPECT_EQ(spy.io.CreateMemoryStream(nullptr), kNullPointer);
  EXPECT_EQ(spy.io.Write(nullptr, "a", 1), kNullPointer);
  EXPECT_EQ(spy.io.GetContent(nullptr, &buffer), kNullPointer);
  runtime::Stream* const stream = create();
  EXPECT_EQ(spy.io.Write(stream, nullptr, 1), kNullPointer);
  EXPECT_EQ(spy.io.GetContent(stream, nullptr), kNullPointer);
  EXPECT_EQ(call<int32_t>(stream, 4, static_cast<void**>(nullptr)), kNullPointer);
  EXPECT_EQ(spy.io.Write(stream, "a", ~uint64_t{0}), kOutOfMemory);
  write(stream, "a");
  EXPECT_EQ(spy.io.Write(stream, "a", ~uint64_t{0}), kOutOfMemory);
  release(stream);
}

}  // namespace
}  // namespace vexa::test
