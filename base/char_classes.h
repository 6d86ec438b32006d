#pragma once

#include <array>
#include <cstdint>

namespace vexa::base {

// Character classes shared by the JSON, HTTP and URL parsers: one mask per byte.
enum CharClass : uint32_t {
  kDigit = 0x2,           // 0-9
  kWhitespace = 0x40,     // TAB, LF, CR, SP: linear white space (RFC 822, LWSP and its line ends)
  kText8Bit = 0x100,      // 0x80 to 0xFD
  kEscapable = 0x1000,    // 0x00 to 0x7F but LF and CR: may follow a backslash (quoted-pair)
  kQuotedPlain = 0x2000,  // "!" to "~" but the double quote and the backslash
};

namespace internal {
constexpr std::array<uint32_t, 256> makeCharClasses() {
  std::array<uint32_t, 256> table{};
  for (uint32_t c = 0; c < table.size(); ++c) {
    uint32_t mask = 0;
    mask |= c >= '0' && c <= '9' ? kDigit : 0u;
    mask |= c == '\t' || c == '\n' || c == '\r' || c == ' ' ? kWhitespace : 0u;
    mask |= c >= 0x80 && c <= 0xFD ? kText8Bit : 0u;
    mask |= c <= 0x7F && c != '\n' && c != '\r' ? kEscapable : 0u;
    mask |= c >= '!' && c <= '~' && c != '"' && c != '\\' ? kQuotedPlain : 0u;
    table[c] = mask;
  }
  return table;
}
}  // namespace internal

inline constexpr std::array<uint32_t, 256> kCharClasses = internal::makeCharClasses();

constexpr bool isInClass(uint8_t c, uint32_t classes) { return (kCharClasses[c] & classes) != 0; }
constexpr bool isInClass(char c, uint32_t classes) {
  return isInClass(static_cast<uint8_t>(c), classes);
}

}  // namespace vexa::base
