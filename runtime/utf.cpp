#include "runtime/utf.h"

namespace vexa::velmora {
namespace {

constexpr uint32_t kReplacement = 0xFFFD;
constexpr uint32_t kFirstBeyondUnits = 0x10000;

bool isHighSurrogate(char16_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
bool isLowSurrogate(char16_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

// What the first byte of a sequence says: how many bytes follow, its own bits, and the range of the
// second byte, which shuts out overlong forms, surrogates and numbers above U+10FFFF.
struct Lead {
  int following;
  uint32_t bits;
  uint8_t secondMin;
  uint8_t secondMax;
};

// following < 0: no sequence begins so.
Lead leadOf(uint8_t byte) {
  if (byte < 0x80) {
    return {0, byte, 0, 0};
  }
  if (byte < 0xC2) {
    return {-1, 0, 0, 0};
  }
  if (byte < 0xE0) {
    return {1, byte & 0x1Fu, 0x80, 0xBF};
  }
  if (byte == 0xE0) {
    return {2, 0x0, 0xA0, 0xBF};
  }
  if (byte == 0xED) {
    return {2, 0xD, 0x80, 0x9F};
  }
  if (byte < 0xF0) {
    return {2, byte & 0x0Fu, 0x80, 0xBF};
  }
  if (byte == 0xF0) {
    return {3, 0, 0x90, 0xBF};
  }
  if (byte < 0xF4) {
    return {3, byte & 0x07u, 0x80, 0xBF};
  }
  if (byte == 0xF4) {
    return {3, 4, 0x80, 0x8F};
  }
  return {-1, 0, 0, 0};
}

// Takes one code point, or the longest beginning of one as a replacement.
uint32_t takeUtf8(const uint8_t*& cursor, const uint8_t* end) {
  const Lead lead = leadOf(*cursor++);
  if (lead.following < 0) {
    return kReplacement;
  }
  uint32_t point = lead.bits;
  for (int i = 0; i < lead.following; ++i) {
    const uint8_t min = i == 0 ? lead.secondMin : uint8_t{0x80};
    const uint8_t max = i == 0 ? lead.secondMax : uint8_t{0xBF};
    if (cursor == end || *cursor < min || *cursor > max) {
      return kReplacement;
    }
    point = point << 6 | (*cursor++ & 0x3Fu);
  }
  return point;
}

uint32_t takeUtf16(const char16_t*& cursor, const char16_t* end) {
  const char16_t unit = *cursor++;
  if (isHighSurrogate(unit) && cursor != end && isLowSurrogate(*cursor)) {
    return kFirstBeyondUnits + ((unit & 0x3FFu) << 10 | (*cursor++ & 0x3FFu));
  }
  return isHighSurrogate(unit) || isLowSurrogate(unit) ? kReplacement : unit;
}

}  // namespace

uint64_t unitsOf(uint32_t point, char16_t (&units)[2]) {
  if (point < kFirstBeyondUnits) {
    units[0] = static_cast<char16_t>(point);
    return 1;
  }
  units[0] = static_cast<char16_t>(0xD800 + ((point - kFirstBeyondUnits) >> 10));
  units[1] = static_cast<char16_t>(0xDC00 + (point & 0x3FF));
  return 2;
}

CodePoint firstCodePoint(const char* text, uint64_t length) {
  const auto* const start = reinterpret_cast<const uint8_t*>(text);
  const uint8_t* cursor = start;
  const uint32_t value = takeUtf8(cursor, start + length);
  const auto taken = static_cast<uint64_t>(cursor - start);
  // U+FFFD itself has three bytes, the first of them EF; behind that one an invalid piece has two.
  const bool isInvalid = value == kReplacement && (*start != 0xEF || taken != 3);
  return isInvalid ? CodePoint{*start, 0} : CodePoint{value, taken};
}

bool isUtf8(const char* text, uint64_t length) {
  while (length != 0) {
    const uint64_t taken = firstCodePoint(text, length).length;
    if (taken == 0) {
      return false;
    }
    text += taken;
    length -= taken;
  }
  return true;
}

uint64_t utf8ToUtf16(const char* text, uint64_t length, char16_t* out) {
  const auto* cursor = reinterpret_cast<const uint8_t*>(text);
  const uint8_t* const end = cursor + length;
  uint64_t written = 0;
  const auto put = [&](char16_t unit) {
    if (out != nullptr) {
      out[written] = unit;
    }
    ++written;
  };
  while (cursor != end) {
    char16_t units[2];
    const uint64_t count = unitsOf(takeUtf8(cursor, end), units);
    for (uint64_t i = 0; i < count; ++i) {
      put(units[i]);
    }
  }
  return written;
}

uint64_t utf16ToUtf8(const char16_t* text, uint64_t length, char* out) {
  const char16_t* cursor = text;
  const char16_t* const end = text + length;
  uint64_t written = 0;
  const auto put = [&](uint32_t byte) {
    if (out != nullptr) {
      out[written] = static_cast<char>(byte);
    }
    ++written;
  };
  while (cursor != end) {
    const uint32_t point = takeUtf16(cursor, end);
    if (point < 0x80) {
      put(point);
      continue;
    }
    if (point < 0x800) {
      put(0xC0 | point >> 6);
    } else {
      if (point < kFirstBeyondUnits) {
        put(0xE0 | point >> 12);
      } else {
        put(0xF0 | point >> 18);
        put(0x80 | (point >> 12 & 0x3F));
      }
      put(0x80 | (point >> 6 & 0x3F));
    }
    put(0x80 | (point & 0x3F));
  }
  return written;
}

}  // namespace vexa::velmora
