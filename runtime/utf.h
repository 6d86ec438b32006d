#pragma once

#include <cstdint>

// UTF-8 and UTF-16 (RFC 3629, Unicode 15 section 3.9). Strict: surrogate pairs are joined, and each
// invalid piece of the input becomes U+FFFD. Conversions return the number of units of the result;
// a null `out` only measures.
namespace vexa::velmora {

// The units of a code point: one or two. Their number.
uint64_t unitsOf(uint32_t point, char16_t (&units)[2]);

// The first code point of a text that is not empty, and its length in bytes; 0: its first byte
// begins none, and is the value.
struct CodePoint {
  uint32_t value;
  uint64_t length;
};
CodePoint firstCodePoint(const char* text, uint64_t length);

// Whether no piece of the text is invalid.
bool isUtf8(const char* text, uint64_t length);
uint64_t utf8ToUtf16(const char* text, uint64_t length, char16_t* out);
uint64_t utf16ToUtf8(const char16_t* text, uint64_t length, char* out);

}  // namespace vexa::velmora
