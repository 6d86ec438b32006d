#include "runtime/der/asn1_string.h"

#include <cstring>

#include "runtime/der/der_tags.h"
#include "runtime/utf.h"

namespace vexa::velmora {
namespace {

constexpr uint32_t kLastCodePoint = 0x10FFFF;
constexpr bool isSurrogate(uint32_t code) { return code >= 0xD800 && code <= 0xDFFF; }

// UTF-16 in the byte order of the machine.
class Units {
 public:
  void append(uint32_t unit) {
    const auto value = static_cast<char16_t>(unit);
    uint8_t bytes[sizeof(value)];
    std::memcpy(bytes, &value, sizeof(value));
    bytes_.append(bytes);
  }
  void fromUtf8(ByteView utf8) {
    const auto* const text = reinterpret_cast<const char*>(utf8.data());
    if (utf8.empty()) {
      return;
    }
    bytes_.resize(utf8ToUtf16(text, utf8.size(), nullptr) * sizeof(char16_t));
    if (bytes_.failed()) {
      return;
    }
    utf8ToUtf16(text, utf8.size(), reinterpret_cast<char16_t*>(bytes_.data()));
  }
  void toUtf8(Bytes& out) const {
    if (bytes_.failed()) {
      out.fail();
    }
    if (bytes_.size() == 0 || out.failed()) {
      return;
    }
    const auto* const units = reinterpret_cast<const char16_t*>(bytes_.data());
    const size_t before = out.size();
    out.resize(before + utf16ToUtf8(units, size(), nullptr));
    if (out.failed()) {
      return;
    }
    utf16ToUtf8(units, size(), reinterpret_cast<char*>(out.data() + before));
  }
  size_t size() const { return bytes_.size() / sizeof(char16_t); }
  char16_t operator[](size_t index) const {
    char16_t unit;
    std::memcpy(&unit, bytes_.data() + index * sizeof(unit), sizeof(unit));
    return unit;
  }
  bool failed() const { return bytes_.failed(); }

 private:
  Bytes bytes_;
};

bool appendUtf8(ByteView text, Bytes& out) {
  if (!isUtf8(reinterpret_cast<const char*>(text.data()), text.size())) {
    return false;
  }
  out.append(text);
  return true;
}

bool appendUniversal(ByteView content, Bytes& out) {
  if (content.size() % 4 != 0) {
    return false;
  }
  Units units;
  for (; !content.empty(); content = content.subspan(4)) {
    const uint32_t code = static_cast<uint32_t>(content[0]) << 24 |
                          static_cast<uint32_t>(content[1]) << 16 |
                          static_cast<uint32_t>(content[2]) << 8 | content[3];
    if (code > kLastCodePoint || isSurrogate(code)) {
      return false;
    }
    char16_t pair[2];
    const uint64_t count = unitsOf(code, pair);
    for (uint64_t i = 0; i < count; ++i) {
      units.append(pair[i]);
    }
  }
  units.toUtf8(out);
  return true;
}

bool appendAscii(ByteView content, Bytes& out) {
  for (const uint8_t byte : content) {
    if (byte >= 0x80) {
      return false;
    }
  }
  out.append(content);
  return true;
}

void appendLatin1(ByteView content, Bytes& out) {
  Units units;
  for (const uint8_t byte : content) {
    units.append(byte);
  }
  units.toUtf8(out);
}

}  // namespace

bool appendStringAsUtf8(uint8_t tag, ByteView content, Bytes& out) {
  switch (tag) {
    case kUtf8String:
      return appendUtf8(content, out);
    case kNumericString:
    case kPrintableString:
    case kIa5String:
    case kVisibleString:
      return appendAscii(content, out);
    case kTeletexString:  // Latin-1, as everybody writes it
      appendLatin1(content, out);
      return true;
    case kBmpString:
      if (content.size() % 2 != 0) {
        return false;
      }
      appendUtf8FromUtf16(content, out);
      return true;
    case kUniversalString:
      return appendUniversal(content, out);
    default:
      return false;
  }
}

void appendUtf16FromUtf8(ByteView utf8, Bytes& out) {
  Units units;
  units.fromUtf8(utf8);
  if (units.failed()) {
    out.fail();
    return;
  }
  for (size_t i = 0; i < units.size(); ++i) {
    const uint8_t bytes[] = {static_cast<uint8_t>(units[i] >> 8), static_cast<uint8_t>(units[i])};
    out.append(bytes);
  }
}

void appendUtf8FromUtf16(ByteView bigEndian, Bytes& out) {
  Units units;
  for (; bigEndian.size() >= 2; bigEndian = bigEndian.subspan(2)) {
    units.append(static_cast<uint32_t>(bigEndian[0]) << 8 | bigEndian[1]);
  }
  units.toUtf8(out);
}

}  // namespace vexa::velmora
