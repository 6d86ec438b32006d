#pragma once

namespace vexa::base {

// Appends one UTF-16 unit as UTF-8, taken by itself: up to three bytes.
inline char* appendUnit(char* out, char16_t unit) {
  if (unit < 0x80) {
    *out++ = static_cast<char>(unit);
  } else if (unit < 0x800) {
    *out++ = static_cast<char>(0xC0 | (unit >> 6));
    *out++ = static_cast<char>(0x80 | (unit & 0x3F));
  } else {
    *out++ = static_cast<char>(0xE0 | (unit >> 12));
    *out++ = static_cast<char>(0x80 | ((unit >> 6) & 0x3F));
    *out++ = static_cast<char>(0x80 | (unit & 0x3F));
  }
  return out;
}

}  // namespace vexa::base
