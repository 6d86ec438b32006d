#include "runtime/base64.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

#include "vexa/results.h"

namespace vexa::velmora {
namespace {

static_assert(std::endian::native == std::endian::little);

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr uint64_t kLineBytes = 48;  // give 64 characters

// --- Encoding ---

// Two characters for each value of twelve bits, the first one in the low byte.
constexpr std::array<uint16_t, 4096> kPairs = [] {
  std::array<uint16_t, 4096> pairs{};
  for (uint32_t i = 0; i < pairs.size(); ++i) {
    pairs[i] = static_cast<uint16_t>(kAlphabet[i >> 6] | kAlphabet[i & 63] << 8);
  }
  return pairs;
}();

uint64_t pair(uint64_t bits) { return kPairs[bits & 0xFFF]; }

// Six bytes, of which eight can be read, become eight characters.
void encodeSix(const uint8_t* in, uint8_t* out) {
  uint64_t bits;
  std::memcpy(&bits, in, sizeof(bits));
  bits = __builtin_bswap64(bits);
  const uint64_t characters =
      pair(bits >> 52) | pair(bits >> 40) << 16 | pair(bits >> 28) << 32 | pair(bits >> 16) << 48;
  std::memcpy(out, &characters, sizeof(characters));
}

uint8_t character(uint32_t bits) { return static_cast<uint8_t>(kAlphabet[bits & 0x3F]); }

// One to three bytes become four characters.
void encodeGroup(const uint8_t* in, uint64_t count, uint8_t* out) {
  uint32_t bits = 0;
  for (uint64_t i = 0; i < 3; ++i) {
    bits = bits << 8 | (i < count ? in[i] : 0u);
  }
  out[0] = character(bits >> 18);
  out[1] = character(bits >> 12);
  out[2] = count > 1 ? character(bits >> 6) : uint8_t{'='};
  out[3] = count > 2 ? character(bits) : uint8_t{'='};
}

// `readable` bytes lie at `in`, of which the first `count` are encoded. Returns the end of the
// output.
uint8_t* encodeLine(const uint8_t* in, uint64_t count, uint64_t readable, uint8_t* out) {
  uint64_t at = 0;
  for (; at + 6 <= count && at + 8 <= readable; at += 6, out += 8) {
    encodeSix(in + at, out);
  }
  for (; at < count; at += 3, out += 4) {
    encodeGroup(in + at, count - at, out);
  }
  return out;
}

// --- Decoding ---

enum : uint8_t { kSkip = 0xFD, kPad = 0xFE, kBad = 0xFF };

constexpr std::array<uint8_t, 256> kValues = [] {
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
}();

// What a character adds to the three bytes of its group, by its place there; the first byte is the
// lowest. kOther: it is not one of the 64.
constexpr uint32_t kOther = 0x80000000;
using GroupTable = std::array<uint32_t, 256>;

constexpr std::array<GroupTable, 4> kGroupTables = [] {
  std::array<GroupTable, 4> tables{};
  for (uint32_t c = 0; c < 256; ++c) {
    const uint32_t value = kValues[c];
    const bool other = value >= 64;
    tables[0][c] = other ? kOther : value << 2;
    tables[1][c] = other ? kOther : value >> 4 | (value & 0xF) << 12;
    tables[2][c] = other ? kOther : value >> 2 << 8 | (value & 0x3) << 22;
    tables[3][c] = other ? kOther : value << 16;
  }
  return tables;
}();

// Collects four characters at a time into up to three bytes.
class GroupDecoder {
 public:
  GroupDecoder(uint8_t* out, uint64_t capacity) : out_(out), capacity_(capacity) {}

  // Whole groups without anything else between their characters; returns where they end. Called
  // between groups.
  const uint8_t* takeGroups(const uint8_t* in, const uint8_t* end) {
    const uint64_t most = ended_ ? 0 : (capacity_ - written_) / 3;
    const uint64_t groups = std::min(most, static_cast<uint64_t>(end - in) / 4);
    uint8_t* out = out_ + written_;
    const uint8_t* const last = in + groups * 4;
    for (; in != last; in += 4, out += 3) {
      const uint32_t bytes = kGroupTables[0][in[0]] | kGroupTables[1][in[1]] |
                             kGroupTables[2][in[2]] | kGroupTables[3][in[3]];
      if (bytes >= kOther) {
        break;
      }
      std::memcpy(out, &bytes, 2);
      out[2] = static_cast<uint8_t>(bytes >> 16);
    }
    written_ = static_cast<uint64_t>(out - out_);
    return in;
  }

  bool take(uint8_t value) {
    if (value == kSkip) {
      return true;
    }
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

  // No group has begun.
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
  for (uint64_t start = 0; start < inLength; start += kLineBytes) {
    const uint64_t readable = inLength - start;
    cursor = encodeLine(in + start, std::min(readable, kLineBytes), readable, cursor);
    cursor = std::copy_n(lineEnd, endLength, cursor);
  }
  *outLength = static_cast<uint64_t>(cursor - out);
  return kOk;
}

int32_t base64Decode(const uint8_t* in, uint64_t inLength, uint8_t* out, uint64_t* outLength) {
  GroupDecoder decoder(out, *outLength);
  const uint8_t* const end = in + inLength;
  while (in != end) {
    if (decoder.complete()) {
      in = decoder.takeGroups(in, end);
    }
    if (in != end && !decoder.take(kValues[*in++])) {
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
