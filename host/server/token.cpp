#include "server/token.h"

#include <cstdint>
#include <random>

#include "server/framing.h"

namespace vexahost {
namespace {

constexpr size_t kTokenBytes = 32;
constexpr std::string_view kDigits =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
constexpr std::string_view kScheme = "Bearer ";

bool equalInConstantTime(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) {
    return false;
  }
  uint8_t difference = 0;
  for (size_t i = 0; i < a.size(); ++i) {
    difference = static_cast<uint8_t>(difference | (a[i] ^ b[i]));
  }
  return difference == 0;
}

}  // namespace

std::string randomText(size_t bytes) {
  std::random_device source;  // the operating system's, on every platform that is built for
  std::string text;
  uint32_t pending = 0;
  int bits = 0;
  for (size_t i = 0; i < bytes; ++i) {
    pending = pending << 8 | (source() & 0xFF);
    for (bits += 8; bits >= 6; bits -= 6) {
      text += kDigits[pending >> (bits - 6) & 0x3F];
    }
  }
  return bits == 0 ? text : text + kDigits[pending << (6 - bits) & 0x3F];
}

Token::Token() : text_(randomText(kTokenBytes)) {}

bool Token::isShownBy(std::string_view authorization) const {
  return authorization.size() > kScheme.size() &&
         equalIgnoringCase(authorization.substr(0, kScheme.size()), kScheme) &&
         equalInConstantTime(authorization.substr(kScheme.size()), text_);
}

}  // namespace vexahost
