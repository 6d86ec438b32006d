#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "support/module_fixture.h"
#include "support/sweep.h"
#include "vexa/core.h"

namespace vexa::test {
namespace {

using runtime::ByteBuffer;

// What SEC_ENCODE_1 was called with.
struct EncodeCall {
  const uint8_t* in = nullptr;
  uint64_t inLength = 0;
  uint64_t capacity = 0;
  std::string lineEnd;
  int32_t result = kOk;
} encodeCall;

int32_t recordEncode(const uint8_t* in, uint64_t inLength, uint8_t*, uint64_t* outLength,
                     uint64_t zero1, uint64_t zero2, const char* lineEnd) {
  EXPECT_EQ(zero1, 0u);
  EXPECT_EQ(zero2, 0u);
  encodeCall = {in, inLength, *outLength, lineEnd, encodeCall.result};
  return encodeCall.result;
}
int32_t recordDecode(const uint8_t* in, uint64_t inLength, uint8_t*, uint64_t* outLength,
                     uint64_t zero1, uint64_t zero2) {
  EXPECT_EQ(zero1, 0u);
  EXPECT_EQ(zero2, 0u);
  encodeCall = {in, inLength, *outLength, "", encodeCall.result};
  return encodeCall.result;
}

class Base64 : public ModuleTest {
 protected:
  void SetUp() override {
    ModuleTest::SetUp();
    encodeCall = {};
  }
  void TearDown() override {
    release();
    ModuleTest::TearDown();
  }

  int32_t run(int slotNumber, const std::string& input) {
    const ByteBuffer in = {input.size(),
                           reinterpret_cast<uint8_t*>(const_cast<char*>(input.data()))};
    return tableEntry<int32_t(const ByteBuffer*, ByteBuffer**)>(list(kCoreListName), slotNumber)(
        &in, &out);
  }
  int32_t encode(const std::string& input) { return run(10, input); }
  int32_t decode(const std::string& input) { return run(11, input); }
  std::string output() const { return {reinterpret_cast<const char*>(out->data), out->length}; }
  void release() {
    spy.commonTypes.BufferRelease(out);
    out = nullptr;
  }

  ByteBuffer* out = nullptr;
};

TEST_F(Base64, NullArgumentsAreInvalid) {
  for (const int slotNumber : {10, 11}) {
    auto* convert =
        tableEntry<int32_t(const ByteBuffer*, ByteBuffer**)>(list(kCoreListName), slotNumber);
    const ByteBuffer in{};
    EXPECT_EQ(convert(nullptr, &out), kInvalidArgument);
    EXPECT_EQ(convert(&in, nullptr), kInvalidArgument);
    EXPECT_EQ(out, nullptr);
  }
}

TEST_F(Base64, EncodingCapacityIsALineForEveryStartedGroupOf48) {
  spy.encode.Base64Encode = recordEncode;
  const struct {
    size_t length;
    uint64_t capacity;
  } cases[] = {{0, 66}, {1, 66}, {47, 66}, {48, 132}, {95, 132}, {96, 198}};
  for (const auto& [length, capacity] : cases) {
    const std::string input(length, 'x');
    ASSERT_EQ(encode(input), kOk);
    EXPECT_EQ(encodeCall.capacity, capacity) << length;
    EXPECT_EQ(out->length, capacity) << length;
    EXPECT_EQ(encodeCall.inLength, length);
    EXPECT_EQ(encodeCall.lineEnd, "\r\n");
    release();
  }
}

TEST_F(Base64, DecodingCapacityMultipliesFirst) {
  spy.encode.Base64Decode = recordDecode;
  const struct {
    size_t length;
    uint64_t capacity;
  } cases[] = {{0, 60}, {1, 60}, {2, 61}, {3, 62}, {4, 63}, {66, 109}};
  for (const auto& [length, capacity] : cases) {
    ASSERT_EQ(decode(std::string(length, 'x')), kOk);
    EXPECT_EQ(encodeCall.capacity, capacity) << length;
    EXPECT_EQ(out->length, capacity) << length;
    release();
  }
}

TEST_F(Base64, TheRecordIsMadeBeforeItsBlock) {
  static auto* const allocate = spy.root.Allocate;
  static std::vector<uint64_t> sizes;
  spy.root.Allocate = [](uint64_t size) {
    sizes.push_back(size);
    return allocate(size);
  };
  sizes.clear();
  ASSERT_EQ(encode("abc"), kOk);
  EXPECT_EQ(sizes, (std::vector<uint64_t>{sizeof(ByteBuffer), 66}));
  sizes.clear();
  ASSERT_EQ(encode("abc"), kOk);  // into the same record
  EXPECT_EQ(sizes, std::vector<uint64_t>{66});
}

TEST_F(Base64, AFailureKeepsTheBlockAndTheCapacityLength) {
  spy.encode.Base64Encode = recordEncode;
  spy.encode.Base64Decode = recordDecode;
  encodeCall.result = kInvalidArgument;
  EXPECT_EQ(encode("abc"), kFail);
  ASSERT_NE(out, nullptr);
  EXPECT_NE(out->data, nullptr);
  EXPECT_EQ(out->length, 66u);
  release();
  EXPECT_EQ(decode("abc"), kFail);
  EXPECT_EQ(out->length, 62u);
}

TEST_F(Base64, APositiveResultIsSuccess) {
  spy.encode.Base64Encode = recordEncode;
  encodeCall.result = 1;
  EXPECT_EQ(encode("abc"), kOk);
}

TEST_F(Base64, EncodesInLinesOf64) {
  ASSERT_EQ(encode(std::string(50, '\0')), kOk);
  EXPECT_EQ(output(), std::string(64, 'A') + "\r\nAAA=\r\n");
  release();
  ASSERT_EQ(encode(""), kOk);
  EXPECT_EQ(output(), "");
}

TEST_F(Base64, DecodesWhatItEncodes) {
  for (size_t length = 0; length < 200; ++length) {
    std::string input;
    for (size_t i = 0; i < length; ++i) {
      input += static_cast<char>(i * 37 + length);
    }
    ASSERT_EQ(encode(input), kOk);
    const std::string text = output();
    release();
    ASSERT_EQ(decode(text), kOk);
    EXPECT_EQ(output(), input);
    release();
  }
}

TEST_F(Base64, TextThatIsNotBase64Fails) { EXPECT_EQ(decode("?!"), kFail); }

TEST_F(Base64, AGivenBufferIsReusedAndItsOldBlockFreed) {
  ASSERT_EQ(encode("abc"), kOk);
  ByteBuffer* const record = out;
  ASSERT_EQ(encode("defg"), kOk);
  EXPECT_EQ(out, record);
  EXPECT_EQ(output(), "ZGVmZw==\r\n");
}

TEST_F(Base64, InputAndOutputMayBeTheSameBuffer) {
  ASSERT_EQ(encode("abc"), kOk);
  auto* decodeSlot = tableEntry<int32_t(const ByteBuffer*, ByteBuffer**)>(list(kCoreListName), 11);
  ASSERT_EQ(decodeSlot(out, &out), kOk);
  EXPECT_EQ(output(), "abc");
}

TEST_F(Base64, EveryFailedAllocationLeavesNothingBehind) {
  sweepAllocations(spy, [this] {
    const int32_t result = encode("abc");
    if (result != kOk) {
      EXPECT_EQ(result, kOutOfMemory);
      EXPECT_EQ(out, nullptr);
    }
    release();
    return result == kOk;
  });
}

}  // namespace
}  // namespace vexa::test
