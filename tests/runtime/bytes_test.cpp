#include "runtime/bytes.h"

#include <string>
#include <utility>

#include "runtime/crypto_fixture.h"
#include "runtime/views.h"

namespace vexa::test {
namespace {

using velmora::Bytes;
using velmora::ByteView;

std::string textOf(const Bytes& bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

class BytesTest : public RuntimeTest {};

TEST_F(BytesTest, BytesAreEqualByLengthAndContent) {
  for (const auto& [a, b] : {std::pair{"", ""}, {"ab", "ab"}}) {
    EXPECT_TRUE(velmora::equalBytes(viewOf(a), viewOf(b))) << a;
    EXPECT_TRUE(velmora::equalInConstantTime(viewOf(a), viewOf(b))) << a;
  }
  for (const auto& [a, b] : {std::pair{"", "a"}, {"ab", "a"}, {"ab", "xb"}, {"ab", "ax"}}) {
    EXPECT_FALSE(velmora::equalBytes(viewOf(a), viewOf(b))) << a;
    EXPECT_FALSE(velmora::equalBytes(viewOf(b), viewOf(a))) << a;
    EXPECT_FALSE(velmora::equalInConstantTime(viewOf(a), viewOf(b))) << a;
    EXPECT_FALSE(velmora::equalInConstantTime(viewOf(b), viewOf(a))) << a;
  }
}

TEST_F(BytesTest, BytesAreOrderedAsNumbersAndAPrefixComesFirst) {
  for (const auto& [less, more] :
       {std::pair{"", "a"}, {"a", "ab"}, {"a", "b"}, {"ab", "b"}, {"\x7F", "\x80"}}) {
    EXPECT_TRUE(velmora::beforeBytes(viewOf(less), viewOf(more))) << less;
    EXPECT_FALSE(velmora::beforeBytes(viewOf(more), viewOf(less))) << less;
    EXPECT_FALSE(velmora::beforeBytes(viewOf(more), viewOf(more))) << more;
  }
}

TEST_F(BytesTest, WhatIsInsertedStandsBeforeTheByteAtItsPlace) {
  Bytes bytes;
  bytes.append(viewOf("abc"));
  bytes.insert(1, viewOf("12"));
  EXPECT_EQ(textOf(bytes), "a12bc");
  bytes.insert(5, viewOf("z"));
  bytes.insert(0, viewOf("y"));
  EXPECT_EQ(textOf(bytes), "ya12bcz");
  bytes.insert(3, {});
  EXPECT_EQ(textOf(bytes), "ya12bcz");
}

TEST_F(BytesTest, GrowthKeepsTheBytesAndFillsWithZeros) {
  Bytes bytes;
  std::string expected;
  for (int i = 0; i < 1000; ++i) {
    bytes.append(static_cast<uint8_t>(i));
    expected += static_cast<char>(i);
  }
  EXPECT_EQ(textOf(bytes), expected);
  bytes.resize(2);
  EXPECT_EQ(textOf(bytes), expected.substr(0, 2));
  bytes.resize(3000);
  EXPECT_EQ(textOf(bytes), expected.substr(0, 2) + std::string(2998, '\0'));
}

TEST_F(BytesTest, AssigningReplacesAndMovingLeavesNothing) {
  Bytes bytes;
  bytes.append(viewOf("old"));
  bytes.assign(viewOf("newer"));
  EXPECT_EQ(textOf(bytes), "newer");
  Bytes other;
  other.append(viewOf("other"));
  other = std::move(bytes);
  EXPECT_EQ(textOf(other), "newer");
  EXPECT_EQ(textOf(bytes), "");  // NOLINT(bugprone-use-after-move)
  bytes.append(viewOf("anew"));
  EXPECT_EQ(textOf(bytes), "anew");
  Bytes third(std::move(other));
  EXPECT_EQ(textOf(third), "newer");
  EXPECT_EQ(textOf(other), "");  // NOLINT(bugprone-use-after-move)
  other.append(viewOf("again"));
  EXPECT_EQ(textOf(other), "again");
}

TEST_F(BytesTest, AFailureLastsUntilItIsTakenAndKeepsWhatWasThere) {
  Bytes bytes;
  bytes.append(viewOf("here"));
  spy.failAllocation(1);
  bytes.append(viewOf(std::string(100, 'x')));
  EXPECT_TRUE(bytes.failed());
  bytes.append(uint8_t{'!'});
  bytes.insert(0, viewOf("!"));
  bytes.resize(1);
  EXPECT_EQ(textOf(bytes), "here") << "what follows a failure has no effect";
  EXPECT_TRUE(bytes.takeFailure());
  EXPECT_FALSE(bytes.failed());
  EXPECT_FALSE(bytes.takeFailure());
  bytes.append(uint8_t{'!'});
  EXPECT_EQ(textOf(bytes), "here!");
  bytes.fail();
  EXPECT_TRUE(bytes.failed());
  const Bytes moved(std::move(bytes));
  EXPECT_TRUE(moved.failed());
  EXPECT_FALSE(bytes.failed());  // NOLINT(bugprone-use-after-move)
}

TEST_F(BytesTest, HandingOutFillsTheRecordThatIsThereOrMakesOne) {
  runtime::ByteBuffer* out = nullptr;
  for (const char* const text : {"first", "second"}) {
    const runtime::ByteBuffer* const before = out;
    Bytes bytes;
    bytes.append(viewOf(text));
    ASSERT_EQ(velmora::handOut(std::move(bytes), &out), kOk);
    EXPECT_EQ(bytesOf(out), text);
    EXPECT_TRUE(before == nullptr || before == out);
  }
  Bytes failed;
  failed.fail();
  EXPECT_EQ(velmora::handOut(std::move(failed), &out), kOutOfMemory);
  EXPECT_EQ(bytesOf(out), "second");
  releaseBuffer(out);
}

TEST_F(BytesTest, ARecordIsReplacedWholeOrNotAtAll) {
  runtime::ByteBuffer record{};
  ASSERT_EQ(velmora::assignBuffer(&record, viewOf("kept")), kOk);
  spy.failAllocation(1);
  EXPECT_EQ(velmora::assignBuffer(&record, viewOf("lost")), kOutOfMemory);
  EXPECT_EQ(bytesOf(&record), "kept");
  EXPECT_EQ(velmora::assignBuffer(&record, viewOf("other")), kOk);
  EXPECT_EQ(bytesOf(&record), "other");
  EXPECT_EQ(velmora::assignBuffer(&record, {}), kOk);
  EXPECT_EQ(record.length, 0u);
  EXPECT_EQ(record.data, nullptr);
  ASSERT_EQ(velmora::assignBuffer(&record, viewOf("x")), kOk);
  velmora::clearBuffer(&record);
  EXPECT_EQ(record.length, 0u);
  EXPECT_EQ(record.data, nullptr);
}

}  // namespace
}  // namespace vexa::test
