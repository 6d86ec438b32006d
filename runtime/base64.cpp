#include "runtime/base64.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "vexa/results.h"

namespace vexa::velmora {
namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr uint64_t kLineBytes = 48;  // give 64 characters

enum : uint8_t { kSkip = 0xFD, kPad = 0xFE, kBad = 0xFF };

constexpr std::array<uint8_t, 256> makeValues() {
  std::array<uint8_t, 256> values{};
  values.fill(kBad);
  for (uint8_t i = 0; i < 64; ++i) {
    values[static_cast<uint8_t>(kAlphabet[i])] = i;
  }
  for (const char skipped : {'\t', '\n', '\r', ' '}) {
    values[static_cast<uint8_t>(skipped)] = kSkip;
  }
  values['='] = kPad;
  return values;
}
constexpr std::array<uint8_t, 256> kValues = makeValues();

uint8_t character(uint32_t bits) { return static_cast<uint8_t>(kAlphabet[bits & 0x3F]); }

// One to three bytes become four characters.
uint8_t* encodeGroup(const uint8_t* in, uint64_t count, uint8_t* out) {
  uint32_t bits = 0;
  for (uint64_t i = 0; i < 3; ++i) {
    bits = bits << 8 | (i < count ? in[i] : 0u);
  }
  out[0] = character(bits >> 18);
  out[1] = character(bits >> 12);
  out[2] = count > 1 ? character(bits >> 6) : uint8_t{'='};
  out[3] = count > 2 ? character(bits) : uint8_t{'='};
  return out + 4;
}

// Collects four characters at a time into up to three bytes.
class GroupDecoder {
 public:
  GroupDecoder(uint8_t* out, uint64_t capacity) : out_(out), capacity_(capacity) {}

  bool take(uint8_t value) {
    if (value == kBad || ended_) {
      return false;
    }
    if (value == kPad) {
      // The first two characters of a group are never padding, and after padding only padding.
      if (count_ < 2) {
        return false;
      }
      ++padding_;
    } else if (padding_ != 0) {
      return false;
    }
    bits_ = bits_ << 6 | (value == kPad ? 0u : value);
    return ++count_ < 4 || closeGroup();
  }

  bool complete() const { return count_ == 0; }
  uint64_t written() const { return written_; }

 private:
  bool closeGroup() {
    const uint64_t bytes = 3 - padding_;
    const uint32_t unused = (1u << (8 * padding_)) - 1;
    if ((bits_ & unused) != 0 || bytes > capacity_ - written_) {
      return false;
    }
    for (uint64_t i = 0; i < bytes; ++i) {
      out_[written_++] = static_cast<uint8_t>(bits_ >> (16 - 8 * i));
    }
    ended_ = padding_ != 0;
    bits_ = 0;
    count_ = 0;
    return true;
  }

  uint8_t* out_;
  uint64_t capacity_;
  uint64_t written_ = 0;
  uint32_t bits_ = 0;
  uint32_t count_ = 0;
  uint32_t padding_ = 0;
  bool ended_ = false;  // a padded group is the last one
};

}  // namespace

int32_t base64Encode(const uint8_t* in, uint64_t inLength, uint8_t* out, uint64_t* outLength,
                     const char* lineEnd) {
  const uint64_t endLength = std::strlen(lineEnd);
  const uint64_t lines = inLength / kLineBytes + (inLength % kLineBytes != 0 ? 1 : 0);
  const uint64_t groups = inLength / 3 + (inLength % 3 != 0 ? 1 : 0);
  if (*outLength < groups * 4 + lines * endLength) {
    return kFail;
  }
  uint8_t* cursor = out;
  for (uint64_t line = 0; line < lines; ++line) {
    const uint64_t lineStart = line * kLineBytes;
    const uint64_t lineStop = std::min(inLength, lineStart + kLineBytes);
    for (uint64_t i = lineStart; i < lineStop; i += 3) {
      cursor = encodeGroup(in + i, lineStop - i, cursor);
    }
    cursor = std::copy_n(lineEnd, endLength, cursor);
  }
  *outLength = static_cast<uint64_t>(cursor - out);
  return kOk;
}

int32_t base64Decode(const uint8_t* in, uint64_t inLength, uint8_t* out, uint64_t* outLength) {
  GroupDecoder decoder(out, *outLength);
  for (uint64_t i = 0; i < inLength; ++i) {
    const uint8_t value = kValues[in[i]];
    if (value != kSkip && !decoder.take(value)) {
      return kFail;
    }
  }
  if (!decoder.complete()) {
    return kFail;
  }
  *outLength = decoder.written();
  return kOk;
}

}  // namespace vexa::velmora
