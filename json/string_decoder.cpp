#include "json/string_decoder.h"

#include <array>
#include <cstdint>
#include <cstring>

#include "base/char_classes.h"
#include "base/utf8.h"
#include "json/bytes.h"

namespace vexa::json {
namespace {

using base::isInClass;
using base::kEscapable;
using base::kText8Bit;
using base::kWhitespace;

// Marks all but printable ASCII, and the quote and the backslash.
uint64_t bytesToLookAt(uint64_t word) {
  return (bytesBelow(word, 0x20) | bytesEqual(word, '"') | bytesEqual(word, '\\') |
          bytesDelete(word) | word) &
         kHighBits;
}

// The first byte that cannot stand in a string by itself.
char* skipPlain(char* next) {
  for (;;) {
    const uint64_t marked = bytesToLookAt(loadWord(next));
    if (marked == 0) {
      next += sizeof(uint64_t);
      continue;
    }
    next += firstMarked(marked);
    if (!isInClass(*next, kText8Bit | kWhitespace)) {
      return next;
    }
    do {
      ++next;
    } while (isInClass(*next, kText8Bit | kWhitespace));
  }
}

constexpr uint8_t kNotHex = 0xFF;

constexpr std::array<uint8_t, 256> makeHexDigits() {
  std::array<uint8_t, 256> table{};
  table.fill(kNotHex);
  for (uint8_t digit = 0; digit < 10; ++digit) {
    table[size_t{'0'} + digit] = digit;
  }
  for (uint8_t letter = 0; letter < 6; ++letter) {
    table[size_t{'a'} + letter] = static_cast<uint8_t>(10 + letter);
    table[size_t{'A'} + letter] = static_cast<uint8_t>(10 + letter);
  }
  return table;
}
constexpr std::array<uint8_t, 256> kHexDigits = makeHexDigits();

// What a letter behind a backslash means; 0 for those that mean nothing.
constexpr std::array<char, 256> makeEscapeLetters() {
  std::array<char, 256> table{};
  table['"'] = '"';
  table['/'] = '/';
  table['\\'] = '\\';
  table['b'] = '\b';
  table['f'] = '\f';
  table['n'] = '\n';
  table['r'] = '\r';
  table['t'] = '\t';
  return table;
}
constexpr std::array<char, 256> kEscapeLetters = makeEscapeLetters();

// Four hexadecimal digits; negative when one of them is something else.
int32_t takeUnit(const char* digits) {
  uint32_t unit = 0;
  for (int i = 0; i < 4; ++i) {
    const uint8_t digit = kHexDigits[static_cast<uint8_t>(digits[i])];
    if (digit == kNotHex) {
      return -1;
    }
    unit = unit << 4 | digit;
  }
  return static_cast<int32_t>(unit);
}

// One escape sequence, from its backslash on. False: none that there is.
bool decodeEscape(char*& next, char*& out) {
  const char letter = next[1];
  if (letter == 'u') {
    const int32_t unit = takeUnit(next + 2);
    if (unit < 0) {
      return false;
    }
    out = base::appendUnit(out, static_cast<char16_t>(unit));
    next += 6;
    return true;
  }
  const char meaning = kEscapeLetters[static_cast<uint8_t>(letter)];
  if (meaning == 0) {
    return false;
  }
  *out++ = meaning;
  next += 2;
  return true;
}

}  // namespace

char* findClosingQuote(char* body, const char* end) {
  for (;;) {
    body = skipPlain(body);
    if (*body == '"') {
      return body;
    }
    // Behind the text stand zeros, which could be escaped, so the end needs a look of its own.
    if (*body != '\\' || end - body < 2 || !isInClass(body[1], kEscapable)) {
      return nullptr;
    }
    body += 2;
  }
}

char* decodeString(char*& cursor) {
  char* next = skipPlain(cursor);
  char* out = next;
  while (*next != '"') {
    if (*next != '\\' || !decodeEscape(next, out)) {
      return nullptr;
    }
    char* const plain = next;
    next = skipPlain(next);
    const auto length = static_cast<size_t>(next - plain);
    std::memmove(out, plain, length);
    out += length;
  }
  cursor = next + 1;
  *out = '\0';
  return out;
}

}  // namespace vexa::json
