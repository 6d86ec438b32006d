#include "json/text_writer.h"

#include <algorithm>
#include <array>
#include <bit>

#include "base/tables.h"
#include "json/bytes.h"
#include "vexa/results.h"

namespace vexa::json {
namespace {

using base::bound;

// What becomes of a byte in a string: itself, a backslash and a letter, or a number.
constexpr char kPlain = 0;
constexpr char kNumbered = 'u';

constexpr std::array<char, 256> makeEscapes() {
  std::array<char, 256> table{};
  for (size_t c = 0; c < 0x20; ++c) {
    table[c] = kNumbered;
  }
  table['\b'] = 'b';
  table['\t'] = 't';
  table['\n'] = 'n';
  table['\f'] = 'f';
  table['\r'] = 'r';
  table['"'] = '"';
  table['/'] = '/';
  table['\\'] = '\\';
  return table;
}
constexpr std::array<char, 256> kEscapes = makeEscapes();

// Marks the bytes that are not plain.
uint64_t bytesToEscape(uint64_t word) {
  return (bytesBelow(word, 0x20) | bytesEqual(word, '"') | bytesEqual(word, '/') |
          bytesEqual(word, '\\')) &
         ~word & kHighBits;
}

constexpr size_t kHalf = kWord / 2;

// Two words, as the processor looks at them at once.
using Bytes16 [[gnu::vector_size(16)]] = uint8_t;
using Words = std::array<uint64_t, 2>;

bool hasEscapes(const Words& words) {
  const auto bytes = std::bit_cast<Bytes16>(words);
  const auto marks =
      std::bit_cast<Words>((bytes < 0x20) | (bytes == '"') | (bytes == '/') | (bytes == '\\'));
  return (marks[0] | marks[1]) != 0;
}

// Each of these copies a text of some length and tells whether it was plain. What was copied counts
// for nothing if it was not. The last bytes may overlap those before.
bool copyTwoWords(const char* from, char* to) {
  Words words;
  std::memcpy(&words, from, sizeof(words));
  std::memcpy(to, &words, sizeof(words));
  return !hasEscapes(words);
}

bool copyWords(const char* from, char* to, size_t size) {
  const size_t last = size - sizeof(Words);
  bool isPlain = copyTwoWords(from + last, to + last);
  for (size_t at = 0; at < last; at += sizeof(Words)) {
    isPlain &= copyTwoWords(from + at, to + at);
  }
  return isPlain;
}

bool copyWord(const char* from, char* to, size_t size) {
  const Words words{loadWord(from), loadWord(from + size - kWord)};
  std::memcpy(to, &words[0], kWord);
  std::memcpy(to + size - kWord, &words[1], kWord);
  return !hasEscapes(words);
}

bool copyHalves(const char* from, char* to, size_t size) {
  uint32_t first;
  uint32_t last;
  std::memcpy(&first, from, kHalf);
  std::memcpy(&last, from + size - kHalf, kHalf);
  std::memcpy(to, &first, kHalf);
  std::memcpy(to + size - kHalf, &last, kHalf);
  return bytesToEscape(first | uint64_t{last} << 32) == 0;
}

bool copyBytes(const char* from, char* to, size_t size) {
  char escapes = kPlain;
  for (size_t at = 0; at < size; ++at) {
    to[at] = from[at];
    escapes |= kEscapes[static_cast<uint8_t>(from[at])];
  }
  return escapes == kPlain;
}

bool copyWhenPlain(const char* from, char* to, size_t size) {
  if (size >= sizeof(Words)) {
    return copyWords(from, to, size);
  }
  if (size >= kWord) {
    return copyWord(from, to, size);
  }
  return size >= kHalf ? copyHalves(from, to, size) : copyBytes(from, to, size);
}

// "00" to "99".
constexpr std::array<char, 200> makePairs() {
  std::array<char, 200> pairs{};
  for (size_t i = 0; i < 100; ++i) {
    pairs[2 * i] = static_cast<char>('0' + i / 10);
    pairs[2 * i + 1] = static_cast<char>('0' + i % 10);
  }
  return pairs;
}
constexpr std::array<char, 200> kPairs = makePairs();

constexpr size_t kMostDigits = 10;

unsigned digitsOf(uint32_t number) {
  static constexpr uint32_t kPowers[kMostDigits] = {
      0, 10, 100, 1000, 10'000, 100'000, 1'000'000, 10'000'000, 100'000'000, 1'000'000'000};
  // 1233 / 4096 is the logarithm of 2, and exact enough for 32 bits.
  const auto digits = static_cast<unsigned>(std::bit_width(number | 1)) * 1233 >> 12;
  return digits + (number >= kPowers[digits] ? 1 : 0);
}

// Writes a number in decimal digits from its end; the place behind it.
char* writeDigits(char* out, uint32_t number) {
  char* const end = out + digitsOf(number);
  char* next = end;
  for (; number >= 100; number /= 100) {
    next -= 2;
    std::memcpy(next, &kPairs[number % 100 * 2], 2);
  }
  if (number >= 10) {
    std::memcpy(next - 2, &kPairs[number * 2], 2);
  } else {
    next[-1] = static_cast<char>('0' + number);
  }
  return end;
}

}  // namespace

char* TextWriter::writeInteger(char* out, int32_t value) {
  auto number = static_cast<uint32_t>(value);
  if (value < 0) {
    *out++ = '-';
    number = 0 - number;
  }
  return writeDigits(out, number);
}

void TextWriter::putInteger(int32_t value) {
  if (char* const out = room(kMostDigits + 1); out != nullptr) {
    advance(static_cast<size_t>(writeInteger(out, value) - out));
    return;
  }
  char digits[kMostDigits + 1] = {};
  const char* const end = writeInteger(digits, value);
  for (const char* next = digits; next != end; ++next) {
    buffer_[pending_] = *next;
    advance(1);
  }
}

bool TextWriter::copyWhenPlain(char* out, std::string_view text) {
  return json::copyWhenPlain(text.data(), out, text.size());
}

void TextWriter::putEscaped(std::string_view text) {
  const char* next = text.data();
  const char* const end = next + text.size();
  for (;;) {
    next = copyPlain(next, end);
    if (pending_ >= kFlushAt) {
      flush();
    }
    if (next == end) {
      return;
    }
    // Where one is, more may follow, for which a look at words would be lost.
    while (next != end && kEscapes[static_cast<uint8_t>(*next)] != kPlain) {
      putEscape(static_cast<uint8_t>(*next++));
    }
  }
}

// Copies plain bytes up to the next one that is to be escaped, the end or a full buffer.
const char* TextWriter::copyPlain(const char* next, const char* end) {
  char* out = buffer_ + pending_;
  const char* const stop = next + std::min<ptrdiff_t>(buffer_ + kFlushAt - out, end - next);
  const auto left = [&] { return static_cast<size_t>(stop - next); };
  while (left() >= sizeof(Words) && copyTwoWords(next, out)) {
    next += sizeof(Words);
    out += sizeof(Words);
  }
  if (left() >= kWord) {
    const uint64_t escaped = bytesToEscape(loadWord(next));
    const size_t plain = escaped == 0 ? kWord : firstMarked(escaped);
    std::memcpy(out, next, kWord);
    next += plain;
    out += plain;
  }
  while (next != stop && kEscapes[static_cast<uint8_t>(*next)] == kPlain) {
    *out++ = *next++;
  }
  pending_ = static_cast<size_t>(out - buffer_);
  return next;
}

void TextWriter::putEscape(uint8_t byte) {
  const char escape = kEscapes[byte];
  char* const out = buffer_ + pending_;
  out[0] = '\\';
  out[1] = escape;
  if (escape != kNumbered) {
    advance(2);
    return;
  }
  out[2] = '0';  // "%04d": the readers of this format expect decimal digits
  out[3] = '0';
  std::memcpy(out + 4, &kPairs[size_t{byte} * 2], 2);
  advance(6);
}

int32_t TextWriter::finish() {
  if (pending_ != 0) {
    flush();
  }
  return result_;
}

void TextWriter::flush() {
  if (succeeded(result_)) {
    const int32_t result = bound.io->Write(stream_, buffer_, pending_);
    result_ = failed(result) ? result : kOk;
  }
  pending_ = 0;
}

}  // namespace vexa::json
