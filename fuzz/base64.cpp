#include <openssl/evp.h>

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>

#include "harness.h"
#include "module/core_list.h"

// Base64 through the core list: the input is encoded, against OpenSSL's encoder, and read back; and
// it is taken for base64 itself, against a decoder that works on one character after the other.
namespace vexa::fuzz {
namespace {

constexpr size_t kLineBytes = 48;

runtime::ByteBuffer recordOf(std::string_view bytes) {
  return {bytes.size(), reinterpret_cast<uint8_t*>(const_cast<char*>(bytes.data()))};
}

std::string expectedText(std::string_view bytes) {
  std::string text;
  for (; !bytes.empty(); bytes.remove_prefix(std::min(kLineBytes, bytes.size()))) {
    const std::string_view line = bytes.substr(0, kLineBytes);
    unsigned char encoded[kLineBytes / 3 * 4 + 1];
    const int length = EVP_EncodeBlock(encoded, reinterpret_cast<const unsigned char*>(line.data()),
                                       static_cast<int>(line.size()));
    text.append(reinterpret_cast<const char*>(encoded), static_cast<size_t>(length)) += "\r\n";
  }
  return text;
}

// Groups of four with blanks anywhere; padding ends the last one and hides no bits.
std::optional<std::string> expectedBytes(std::string_view text) {
  constexpr std::string_view kAlphabet =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string digits;
  for (const char c : text) {
    if (std::string_view("\t\n\r ").find(c) == std::string_view::npos) {
      digits += c;
    }
  }
  if (digits.size() % 4 != 0) {
    return std::nullopt;
  }
  const size_t end = std::min(digits.find('='), digits.size());
  const size_t padding = digits.size() - end;
  if (padding > 2 || digits.substr(end) != std::string(padding, '=')) {
    return std::nullopt;
  }
  std::string bits;
  for (const char c : digits.substr(0, end)) {
    const size_t value = kAlphabet.find(c);
    if (value == std::string_view::npos) {
      return std::nullopt;
    }
    for (int bit = 5; bit >= 0; --bit) {
      bits += (value >> bit & 1) != 0 ? '1' : '0';
    }
  }
  const size_t unused = bits.size() % 8;
  if (bits.find('1', bits.size() - unused) != std::string::npos) {
    return std::nullopt;
  }
  std::string bytes;
  for (size_t at = 0; at + 8 <= bits.size(); at += 8) {
    bytes += static_cast<char>(std::stoi(bits.substr(at, 8), nullptr, 2));
  }
  return bytes;
}

void check(std::string_view input) {
  const runtime::ByteBuffer record = recordOf(input);
  MadeBuffer text;
  require(module::kCoreList.EncodeBase64(&record, text.put()) == kOk, "bytes can be encoded");
  require(text.view() == expectedText(input), "the same text");
  MadeBuffer back;
  require(module::kCoreList.DecodeBase64(text.get(), back.put()) == kOk, "it reads again");
  require(back.view() == input, "as the same bytes");

  MadeBuffer decoded;
  const int32_t result = module::kCoreList.DecodeBase64(&record, decoded.put());
  const auto expected = expectedBytes(input);
  require(result == (expected ? kOk : kFail), "base64, or not");
  require(!expected || decoded.view() == *expected, "the same bytes");
}

void checkWithoutMemory(std::string_view input) {
  const runtime::ByteBuffer record = recordOf(input);
  MadeBuffer text;
  const FailingAllocation failing(seedOf(input, 0) % 4 + 1);
  const int32_t result = module::kCoreList.EncodeBase64(&record, text.put());
  require(failing.hasFailed() ? failed(result) : result == kOk, "a failed allocation is told");
}

}  // namespace
}  // namespace vexa::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  return vexa::fuzz::checkInputOfModule(data, size, [](std::string_view input) {
    vexa::fuzz::check(input);
    vexa::fuzz::checkWithoutMemory(input);
  });
}
