#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "runtime/runtime_fixture.h"
#include "support/exact_bytes.h"

namespace vexa::test {
namespace {

using namespace std::string_view_literals;

class EncodeTableTest : public RuntimeTest {
 protected:
  // Encodes into a block of exactly `capacity` bytes; "failed" when refused.
  std::string encode(std::string_view bytes, uint64_t capacity) {
    const ExactBytes in(bytes);
    const ExactBytes out(std::string(capacity, '#'));
    uint64_t length = capacity;
    if (spy.encode.Base64Encode(in.data(), in.size(), out.data(), &length, 0, 0, "\r\n") != kOk) {
      EXPECT_EQ(length, capacity);
      return "failed";
    }
    return {reinterpret_cast<const char*>(out.data()), length};
  }
  std::string encode(std::string_view bytes) { return encode(bytes, (bytes.size() / 48 + 1) * 66); }

  std::string decode(std::string_view text, uint64_t capacity) {
    const ExactBytes in(text);
    const ExactBytes out(std::string(capacity, '#'));
    uint64_t length = capacity;
    if (spy.encode.Base64Decode(in.data(), in.size(), out.data(), &length, 0, 0) != kOk) {
      EXPECT_EQ(length, capacity);
      return "failed";
    }
    return {reinterpret_cast<const char*>(out.data()), length};
  }
  std::string decode(std::string_view text) { return decode(text, text.size() * 3 / 4 + 60); }
};

struct VectorCase {
  std::string_view bytes;
  std::string_view text;
};

TEST_F(EncodeTableTest, KnownVectorsEncodeAndDecode) {
  constexpr VectorCase kVectors[] = {
      // RFC 4648, 10
      {"", ""},
      {"f", "Zg==\r\n"},
      {"fo", "Zm8=\r\n"},
      {"foo", "Zm9v\r\n"},
      {"foob", "Zm9vYg==\r\n"},
      {"fooba", "Zm9vYmE=\r\n"},
      {"foobar", "Zm9vYmFy\r\n"},
      {"\xFB\xFF\xFE"sv, "+//+\r\n"},
  };
  for (const VectorCase& vector : kVectors) {
    EXPECT_EQ(encode(vector.bytes), vector.text);
    EXPECT_EQ(decode(vector.text), vector.bytes);
  }
}

TEST_F(EncodeTableTest, EveryLineIsEnded) {
  const std::string line = std::string(64, 'A') + "\r\n";
  EXPECT_EQ(encode(std::string(48, '\0')), line);
  EXPECT_EQ(encode(std::string(96, '\0')), line + line);
  EXPECT_EQ(encode(std::string(49, '\0')), line + "AA==\r\n");
}

TEST_F(EncodeTableTest, FortySixAndFortySevenBytesFillALine) {
  EXPECT_EQ(encode(std::string(46, '\0'), 66).size(), 66u);
  EXPECT_EQ(encode(std::string(47, '\0'), 66).size(), 66u);
}

TEST_F(EncodeTableTest, ATooSmallBlockIsRefused) {
  EXPECT_EQ(encode(std::string(47, '\0'), 65), "failed");
  EXPECT_EQ(encode("f", 5), "failed");
  EXPECT_EQ(encode("", 0), "");
  EXPECT_EQ(decode("Zm9v", 2), "failed");
  EXPECT_EQ(decode("Zm9v", 3), "foo");
}

TEST_F(EncodeTableTest, TheCallerChoosesTheLineEnd) {
  uint8_t out[16] = {};
  uint64_t length = 5;
  EXPECT_EQ(
      spy.encode.Base64Encode(reinterpret_cast<const uint8_t*>("f"), 1, out, &length, 0, 0, "\n"),
      kOk);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(out), length), "Zg==\n");
  length = 4;
  EXPECT_EQ(spy.encode.Base64Encode(reinterpret_cast<const uint8_t*>("f"), 1, out, &length, 0, 0,
                                    nullptr),
            kOk);
  EXPECT_EQ(length, 4u);
}

TEST_F(EncodeTableTest, AllLengthsComeBack) {
  std::string bytes;
  for (int i = 0; i < 300; ++i) {
    EXPECT_EQ(decode(encode(bytes)), bytes) << i;
    bytes += static_cast<char>(i * 7 + 1);
  }
}

TEST_F(EncodeTableTest, BlanksAreSkippedEverywhere) {
  EXPECT_EQ(decode(" Z\tm\r\n9\nv\r"), "foo");
  EXPECT_EQ(decode("Zg\r\n=\n= "), "f");
  EXPECT_EQ(decode(" \t\r\n"), "");
}

TEST_F(EncodeTableTest, MalformedInputIsRefused) {
  for (const std::string_view text :
       {"Z"sv, "Zg"sv, "Zg="sv, "Zm9"sv, "="sv, "===="sv, "Z==="sv, "Zg==Zg=="sv, "Zg==="sv,
        "Zg=v"sv, "Zm-v"sv, "Zm_v"sv, "Zm9v!"sv, "Zm\0v"sv, "Zm9v\v"sv, "Zh=="sv, "Zm9="sv,
        "\x80m9v"sv, "-----BEGIN X-----\nZm9v\n"sv}) {
    EXPECT_EQ(decode(text), "failed") << text;
  }
}

TEST_F(EncodeTableTest, NullArgumentsAreRefused) {
  uint8_t byte = 0;
  uint64_t length = 1;
  EXPECT_EQ(spy.encode.Base64Encode(nullptr, 1, &byte, &length, 0, 0, ""), kNullPointer);
  EXPECT_EQ(spy.encode.Base64Encode(&byte, 1, nullptr, &length, 0, 0, ""), kNullPointer);
  EXPECT_EQ(spy.encode.Base64Encode(&byte, 1, &byte, nullptr, 0, 0, ""), kNullPointer);
  EXPECT_EQ(spy.encode.Base64Decode(nullptr, 1, &byte, &length, 0, 0), kNullPointer);
  EXPECT_EQ(spy.encode.Base64Decode(&byte, 1, nullptr, &length, 0, 0), kNullPointer);
  EXPECT_EQ(spy.encode.Base64Decode(&byte, 1, &byte, nullptr, 0, 0), kNullPointer);
}

// --- Blob setter ---

TEST_F(EncodeTableTest, ABlobWithoutCopyBorrows) {
  const ExactBytes bytes({1, 2, 3});
  runtime::ByteBuffer value{};
  EXPECT_EQ(spy.encode.SetBlob(&value, bytes.data(), 3, 0), kOk);
  EXPECT_EQ(value.data, bytes.data());
  EXPECT_EQ(value.length, 3u);
}

TEST_F(EncodeTableTest, ABlobWithCopyOwns) {
  const ExactBytes bytes({1, 2, 3});
  runtime::ByteBuffer value{};
  EXPECT_EQ(spy.encode.SetBlob(&value, bytes.data(), 3, 1), kOk);
  EXPECT_NE(value.data, bytes.data());
  EXPECT_EQ(value.length, 3u);
  EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), value.data));
  spy.root.Free(value.data);
}

TEST_F(EncodeTableTest, AFailedBlobLeavesTheValue) {
  const uint8_t byte = 1;
  runtime::ByteBuffer value{};
  spy.failAllocation(1);
  EXPECT_EQ(spy.encode.SetBlob(&value, &byte, 1, 1), kOutOfMemory);
  EXPECT_EQ(value.data, nullptr);
  EXPECT_EQ(spy.encode.SetBlob(nullptr, &byte, 1, 0), kNullPointer);
  EXPECT_EQ(spy.encode.SetBlob(&value, nullptr, 1, 0), kNullPointer);
}

TEST_F(EncodeTableTest, ABlobOfNothingHasNoBlock) {
  const uint8_t byte = 1;
  runtime::ByteBuffer value{7, reinterpret_cast<uint8_t*>(this)};
  EXPECT_EQ(spy.encode.SetBlob(&value, &byte, 0, 1), kOk);
  EXPECT_EQ(value.data, nullptr);
  EXPECT_EQ(value.length, 0u);
  EXPECT_EQ(spy.encode.SetBlob(&value, &byte, 0, 0), kOk);
  EXPECT_EQ(value.data, &byte) << "borrowed";
  EXPECT_EQ(spy.encode.SetBlob(&value, nullptr, 0, 1), kOk);
  EXPECT_EQ(value.data, nullptr);
}

}  // namespace
}  // namespace vexa::test
