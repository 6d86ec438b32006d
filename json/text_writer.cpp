#include "json/text_writer.h"

#include <algorithm>
#include <array>

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

// Copies half a word to a word, as two halves that may overlap. False when some of it is to be
// escaped; what was copied then counts for nothing.
bool copyRest(const char* from, char* to, size_t size) {
  uint32_t first;
  uint32_t last;
  std::memcpy(&first, from, kHalf);
  std::memcpy(&last, from + size - kHalf, kHalf);
  std::memcpy(to, &first, kHalf);
  std::memcpy(to + size - kHalf, &last, kHalf);
  return bytesToEscape(first | uint64_t{last} << 32) == 0;
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

// A number in decimal digits, put together from its end.
class Digits {
 public:
  explicit Digits(int32_t value) {
    auto rest = static_cast<uint32_t>(value);
    rest = value < 0 ? 0 - rest : rest;
    for (; rest >= 100; rest /= 100) {
      next_ -= 2;
      std::memcpy(next_, &kPairs[rest % 100 * 2], 2);
    }
    if (rest >= 10) {
      *--next_ = kPairs[rest * 2 + 1];
      *--next_ = kPairs[rest * 2];
    } else {
      *--next_ = static_cast<char>('0' + rest);
    }
    if (value < 0) {
      *--next_ = '-';
    }
  }
  const char* data() const { return next_; }
  size_t size() const { return static_cast<size_t>(bytes_ + kMost - next_); }

  static constexpr size_t kMost = 11;         // with the sign
  static constexpr size_t kRoom = 2 * kMost;  // so that kMost bytes can be read from data() on

 private:
  char bytes_[kRoom];
  char* next_ = bytes_ + kMost;
};

}  // namespace

void TextWriter::putInteger(int32_t value) {
  const Digits digits(value);
  if (pending_ + Digits::kMost <= kFlushAt) {
    std::memcpy(buffer_ + pending_, digits.data(), Digits::kMost);
    advance(digits.size());
    return;
  }
  for (size_t i = 0; i < digits.size(); ++i) {
    buffer_[pending_] = digits.data()[i];
    advance(1);
  }
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
    if (kEscapes[static_cast<uint8_t>(*next)] != kPlain) {
      putEscape(static_cast<uint8_t>(*next++));
    }
  }
}

// Copies plain bytes up to the next one that is to be escaped, the end or a full buffer.
const char* TextWriter::copyPlain(const char* next, const char* end) {
  char* out = buffer_ + pending_;
  const char* const stop = next + std::min<ptrdiff_t>(buffer_ + kFlushAt - out, end - next);
  while (static_cast<size_t>(stop - next) >= kWord) {
    const uint64_t word = loadWord(next);
    std::memcpy(out, &word, kWord);
    const uint64_t escaped = bytesToEscape(word);
    const size_t plain = escaped == 0 ? kWord : firstMarked(escaped);
    next += plain;
    out += plain;
    if (plain != kWord) {
      pending_ = static_cast<size_t>(out - buffer_);
      return next;
    }
  }
  const auto rest = static_cast<size_t>(stop - next);
  if (rest >= kHalf && copyRest(next, out, rest)) {
    pending_ = static_cast<size_t>(out - buffer_) + rest;
    return stop;
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
    const int32_t result = bound.io ? bound.io->Write(stream_, buffer_, pending_) : kFail;
    result_ = failed(result) ? result : kOk;
  }
  pending_ = 0;
}

}  // namespace vexa::json
