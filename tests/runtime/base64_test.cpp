#include "runtime/base64.h"

#include <gtest/gtest.h>

#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "support/exact_bytes.h"
#include "vexa/results.h"

namespace vexa::test {
namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Bit by bit, as RFC 4648 tells it.
std::string plainEncode(const std::string& bytes, const std::string& lineEnd) {
  std::string text;
  for (size_t start = 0; start < bytes.size(); start += 48) {
    const std::string line = bytes.substr(start, 48);
    for (size_t bit = 0; bit < line.size() * 8; bit += 6) {
      int value = 0;
      for (size_t i = bit; i < bit + 6; ++i) {
        const int byte = i / 8 < line.size() ? static_cast<uint8_t>(line[i / 8]) : 0;
        value = value * 2 + (byte >> (7 - i % 8) & 1);
      }
      text += kAlphabet[value];
    }
    text.append((3 - line.size() % 3) % 3, '=');
    text += lineEnd;
  }
  return text;
}

// Nothing: not well-formed. What encodes to the same text, blanks aside, is right.
std::optional<std::string> plainDecode(const std::string& text) {
  std::string packed;
  std::string bits;
  for (const char c : text) {
    if (std::string("\t\n\r ").find(c) != std::string::npos) {
      continue;
    }
    packed += c;
    const size_t value = std::string(kAlphabet).find(c);
    for (int i = 5; i >= 0 && c != '='; --i) {
      if (value == std::string::npos) {
        return std::nullopt;
      }
      bits += (value >> i & 1) != 0 ? '1' : '0';
    }
  }
  std::string bytes;
  for (size_t bit = 0; bit + 8 <= bits.size(); bit += 8) {
    bytes += static_cast<char>(std::stoi(bits.substr(bit, 8), nullptr, 2));
  }
  return plainEncode(bytes, "") == packed ? std::optional(bytes) : std::nullopt;
}

std::optional<std::string> decode(const std::string& text, uint64_t capacity) {
  const ExactBytes in(text);
  const ExactBytes out(std::string(capacity, '#'));
  uint64_t length = capacity;
  if (velmora::base64Decode(in.data(), in.size(), out.data(), &length) != kOk) {
    EXPECT_EQ(length, capacity);
    return std::nullopt;
  }
  return std::string(reinterpret_cast<const char*>(out.data()), length);
}

std::string randomBytes(std::minstd_rand& random, size_t length) {
  std::string bytes(length, '\0');
  for (char& byte : bytes) {
    byte = static_cast<char>(random() >> 8);
  }
  return bytes;
}

TEST(Base64, EncodesEveryLengthLikeThePlainRule) {
  std::minstd_rand random(1);
  for (size_t length = 0; length < 300; ++length) {
    const std::string bytes = randomBytes(random, length);
    for (const char* const lineEnd : {"", "\n", "\r\n"}) {
      const std::string expected = plainEncode(bytes, lineEnd);
      const ExactBytes in(bytes);
      const ExactBytes out(std::string(expected.size(), '#'));
      uint64_t written = expected.size();
      ASSERT_EQ(velmora::base64Encode(in.data(), in.size(), out.data(), &written, lineEnd), kOk);
      ASSERT_EQ(std::string(reinterpret_cast<const char*>(out.data()), written), expected);
    }
  }
}

TEST(Base64, DecodesEveryLengthIntoRoomForNoMore) {
  std::minstd_rand random(2);
  for (size_t length = 0; length < 300; ++length) {
    const std::string bytes = randomBytes(random, length);
    for (const char* const lineEnd : {"", "\n", "\r\n"}) {
      const std::string text = plainEncode(bytes, lineEnd);
      ASSERT_EQ(decode(text, length), bytes);
      ASSERT_EQ(decode(text, length + 100), bytes);
      if (length != 0) {
        ASSERT_EQ(decode(text, length - 1), std::nullopt);
      }
    }
  }
}

// One byte or two of a text are changed, dropped or put in.
TEST(Base64, RefusesWhatThePlainRuleRefuses) {
  constexpr char kBytes[] = "=A/z0 \n\r\t-_.\x80\xFF";
  std::minstd_rand random(3);
  int refused = 0;
  for (int i = 0; i < 1500; ++i) {
    std::string text = plainEncode(randomBytes(random, random() % 120), "\r\n");
    for (uint64_t edits = random() % 3; edits != 0; --edits) {
      const size_t at = random() % (text.size() + 1);
      const char byte = kBytes[random() % (sizeof(kBytes) - 1)];
      text.replace(at, random() % 2, random() % 3, byte);
    }
    const std::optional<std::string> expected = plainDecode(text);
    refused += expected ? 0 : 1;
    ASSERT_EQ(decode(text, text.size()), expected) << text;
  }
  EXPECT_GT(refused, 150);
  EXPECT_LT(refused, 1400);
}

// Each text of up to five of these characters.
TEST(Base64, TakesShortTextsAsThePlainRuleDoes) {
  constexpr std::string_view kBytes = "AQ/= -\n";
  std::vector<std::string> texts = {""};
  for (size_t at = 0; at < texts.size(); ++at) {
    const std::string text = texts[at];
    ASSERT_EQ(decode(text, text.size()), plainDecode(text)) << text;
    for (const char byte : text.size() < 5 ? kBytes : "") {
      texts.push_back(text + byte);
    }
  }
}

}  // namespace
}  // namespace vexa::test
