#include "json/serializer.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <cstring>
#include <limits>

#include "base/tables.h"
#include "json/bytes.h"
#include "json/collection.h"
#include "json/growing_stack.h"

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

// --- Short pieces are put together in registers and stored at once: whoever takes a piece reads it
// in words right away, and would wait for bytes that were stored one by one. ---

constexpr size_t kWord = sizeof(uint64_t);
constexpr size_t kHalf = kWord / 2;
constexpr size_t kLongestShort = 2 * kWord;

// Two words of a text, the first byte lowest, zeros behind the text.
struct Words {
  uint64_t low = 0;
  uint64_t high = 0;
};

int32_t writeShort(runtime::Stream* stream, Words words, size_t size) {
  const uint64_t __attribute__((vector_size(2 * kWord))) bytes = {words.low, words.high};
  return writePiece(stream, {reinterpret_cast<const char*>(&bytes), size});
}

// Loads a text of up to two words; false when some of it is to be escaped.
bool loadPlain(const char* text, size_t size, Words& words) {
  if (size >= kWord) {
    const uint64_t last = loadWord(text + size - kWord);  // may overlap the first
    words.low = loadWord(text);
    words.high = size == kWord ? 0 : last >> ((2 * kWord - size) * 8);
    return (bytesToEscape(words.low) | bytesToEscape(last)) == 0;
  }
  if (size >= kHalf) {
    uint32_t first;
    uint32_t last;
    std::memcpy(&first, text, kHalf);
    std::memcpy(&last, text + size - kHalf, kHalf);
    words.low = first | uint64_t{last} << ((size - kHalf) * 8);
    return bytesToEscape(first | uint64_t{last} << 32) == 0;
  }
  for (size_t i = 0; i < size; ++i) {
    const auto byte = static_cast<uint8_t>(text[i]);
    if (kEscapes[byte] != kPlain) {
      return false;
    }
    words.low |= uint64_t{byte} << (i * 8);
  }
  return true;
}

// Puts a quote before and one behind a text of at most two words less two bytes.
Words quoted(Words text, size_t size) {
  Words words{text.low << 8 | uint64_t{'"'}, text.high << 8 | text.low >> 56};
  const size_t closing = size + 1;
  (closing < kWord ? words.low : words.high) |= uint64_t{'"'} << (closing % kWord * 8);
  return words;
}

// Gathers one string. Leaves for the stream whenever 1024 bytes or more are pending before the next
// byte, and at the end.
class EscapedWriter {
 public:
  explicit EscapedWriter(runtime::Stream* stream) : stream_(stream) {}

  int32_t write(std::string_view text) {
    const char* next = text.data();
    const char* const end = next + text.size();
    put('"');
    for (;;) {
      next = copyPlain(next, end);
      if (next == end) {
        break;
      }
      if (pending_ < kFlushAt) {
        putEscaped(static_cast<uint8_t>(*next++));
      } else if (const int32_t result = flush(); failed(result)) {
        return result;
      }
    }
    put('"');
    return flush();
  }

 private:
  static constexpr size_t kFlushAt = 1024;
  static constexpr size_t kLongestEscape = 6;  // \u0031
  static constexpr size_t kSize = 1032;
  static_assert(kFlushAt - 1 + kLongestEscape + 1 <= kSize && kFlushAt + kWord <= kSize);

  void put(char c) { buffer_[pending_++] = c; }

  // Copies plain bytes up to the next escaped one, the end or a full buffer.
  const char* copyPlain(const char* next, const char* end) {
    char* out = buffer_ + pending_;
    const auto room = static_cast<size_t>(std::max<ptrdiff_t>(buffer_ + kFlushAt - out, 0));
    const char* const stop = next + std::min(room, static_cast<size_t>(end - next));
    while (static_cast<size_t>(stop - next) >= kWord) {
      const uint64_t word = loadWord(next);
      std::memcpy(out, &word, kWord);
      const uint64_t escaped = bytesToEscape(word);
      const size_t plain = escaped == 0 ? kWord : firstMarked(escaped);
      next += plain;
      out += plain;
      if (plain != kWord) {
        break;
      }
    }
    const auto rest = static_cast<size_t>(stop - next);
    if (rest >= kHalf && rest < kWord && copyRest(next, out, rest)) {
      next += rest;
      out += rest;
    }
    while (next != stop && kEscapes[static_cast<uint8_t>(*next)] == kPlain) {
      *out++ = *next++;
    }
    pending_ = static_cast<size_t>(out - buffer_);
    return next;
  }

  // Copies half a word to a word, as two halves that may overlap. False when some of it is to be
  // escaped; what is copied then counts for nothing.
  static bool copyRest(const char* from, char* to, size_t size) {
    uint32_t first;
    uint32_t last;
    std::memcpy(&first, from, kHalf);
    std::memcpy(&last, from + size - kHalf, kHalf);
    std::memcpy(to, &first, kHalf);
    std::memcpy(to + size - kHalf, &last, kHalf);
    return bytesToEscape(first | uint64_t{last} << 32) == 0;
  }

  void putEscaped(uint8_t byte) {
    const char escape = kEscapes[byte];
    put('\\');
    put(escape);
    if (escape == kNumbered) {  // "%04d": the readers of this format expect decimal digits
      put('0');
      put('0');
      put(static_cast<char>('0' + byte / 10));
      put(static_cast<char>('0' + byte % 10));
    }
  }

  int32_t flush() {
    const int32_t result = writePiece(stream_, {buffer_, pending_});
    pending_ = 0;
    return result;
  }

  runtime::Stream* stream_;
  size_t pending_ = 0;
  char buffer_[kSize];
};

// By itself, so that short strings do without its buffer.
[[gnu::noinline]] int32_t writeGathered(runtime::Stream* stream, std::string_view text) {
  return EscapedWriter(stream).write(text);
}

constexpr std::string_view kSeparator = ",\n";

std::string_view opening(uint32_t type) { return type == kJsonObject ? "{\n" : "[\n"; }
std::string_view closing(uint32_t type) { return type == kJsonObject ? "}\n" : "]\n"; }

// Writes a tree with a stack of its own: values can be nested deeper than the thread's stack is.
class TreeWriter {
 public:
  explicit TreeWriter(runtime::Stream* stream) : stream_(stream) {}

  int32_t write(JsonCollection& root) {
    int32_t result = open(root);
    while (succeeded(result) && !levels_.empty()) {
      result = writeLevel(levels_.back());
    }
    return result;
  }

 private:
  struct Level {
    JsonCollection* collection;
    uint64_t next;  // index of the next element to write
  };

  int32_t open(JsonCollection& collection) {
    const int32_t result = writePiece(stream_, opening(collection.type()));
    if (failed(result)) {
      return result;
    }
    return levels_.push({&collection, 0}) ? kOk : kOutOfMemory;
  }

  // Writes elements up to the one that opens a deeper level, or to the end of this one.
  int32_t writeLevel(Level& level) {
    const auto elements = level.collection->elements();
    const bool isObject = level.collection->type() == kJsonObject;
    for (uint64_t index = level.next; index != elements.size(); ++index) {
      JsonValue& element = *elements[index];
      int32_t result = index == 0 ? kOk : writePiece(stream_, kSeparator);
      if (succeeded(result) && isObject) {
        result = writeName(element.name());
      }
      if (failed(result)) {
        return result;
      }
      if (JsonCollection* const nested = asCollection(&element); nested != nullptr) {
        level.next = index + 1;
        return open(*nested);  // may move the levels
      }
      if (result = element.Write(stream_); failed(result)) {
        return result;
      }
    }
    return close(*level.collection);
  }

  int32_t close(const JsonCollection& collection) {
    levels_.pop();
    const int32_t result = writePiece(stream_, "\n");
    return failed(result) ? result : writePiece(stream_, closing(collection.type()));
  }

  int32_t writeName(std::string_view name) {
    const int32_t result = writeEscaped(stream_, name);
    return failed(result) ? result : writePiece(stream_, " : ");
  }

  runtime::Stream* stream_;
  GrowingStack<Level, 32> levels_;
};

void release(runtime::Stream* stream) {
  stream->table->Release(reinterpret_cast<runtime::Object*>(stream));
}

}  // namespace

int32_t writePiece(runtime::Stream* stream, std::string_view piece) {
  return bound.io ? bound.io->Write(stream, piece.data(), piece.size()) : kFail;
}

int32_t writeInteger(runtime::Stream* stream, int32_t value) {
  constexpr uint32_t kShortLimit = 10'000'000;  // with a sign they fill a word
  auto rest = static_cast<uint32_t>(value);
  rest = value < 0 ? 0 - rest : rest;
  if (rest >= kShortLimit) {
    char digits[std::numeric_limits<int32_t>::digits10 + 2];  // all digits and a sign
    const auto end = std::to_chars(digits, digits + sizeof(digits), value).ptr;
    return writePiece(stream, {digits, static_cast<size_t>(end - digits)});
  }
  uint64_t word = 0;
  size_t size = 0;
  do {
    word = word << 8 | ('0' + rest % 10);
    ++size;
    rest /= 10;
  } while (rest != 0);
  if (value < 0) {
    word = word << 8 | '-';
    ++size;
  }
  return writeShort(stream, {word, 0}, size);
}

int32_t writeEscaped(runtime::Stream* stream, std::string_view text) {
  if (text.size() + 2 <= kLongestShort) {
    if (Words words; loadPlain(text.data(), text.size(), words)) {
      return writeShort(stream, quoted(words, text.size()), text.size() + 2);
    }
  }
  return writeGathered(stream, text);
}

int32_t writeCollection(runtime::Stream* stream, JsonCollection& collection) {
  return asCollection(&collection) == nullptr ? kFail : TreeWriter(stream).write(collection);
}

int32_t toText(JsonCollection& collection, runtime::ByteBuffer** text) {
  *text = nullptr;
  if (!bound.io) {
    return kFail;
  }
  runtime::Stream* stream = nullptr;
  int32_t result = bound.io->CreateMemoryStream(&stream);
  if (failed(result)) {
    return result;
  }
  if (result = collection.Write(stream); succeeded(result)) {
    result = bound.io->GetContent(stream, text);
  }
  release(stream);
  return result;
}

}  // namespace vexa::json
