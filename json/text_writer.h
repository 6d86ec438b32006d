#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "vexa/runtime/object.h"

namespace vexa::json {

// Gathers a text for a stream of SEC_IO_1, which gets it in pieces of 1024 bytes and a little more,
// and what is left at the end. After the first failure of the stream it gets nothing more.
class TextWriter {
 public:
  explicit TextWriter(runtime::Stream* stream) : stream_(stream) {}
  TextWriter(const TextWriter&) = delete;
  TextWriter& operator=(const TextWriter&) = delete;

  // A literal of at most eight bytes, without its zero byte.
  template <size_t kArray>
  void put(const char (&text)[kArray]) {
    static_assert(kArray - 1 <= kLargestStep);
    std::memcpy(buffer_ + pending_, text, kArray - 1);
    advance(kArray - 1);
  }
  void putInteger(int32_t value);
  // What stands between the quotes of a string: \b \t \n \f \r \" \/ \\ for these bytes, \u and
  // four decimal digits for other bytes below 0x20.
  void putEscaped(std::string_view text);

  // An escaped text with a literal before and behind it: all at once when it is short and has
  // nothing to escape, as most names have.
  template <size_t kBefore, size_t kBehind>
  void putEscaped(const char (&before)[kBefore], std::string_view text,
                  const char (&behind)[kBehind]) {
    constexpr size_t kAround = kBefore - 1 + kBehind - 1;
    char* const out = text.size() <= kShort ? room(kAround + text.size()) : nullptr;
    if (out == nullptr || !copyWhenPlain(out + kBefore - 1, text)) {
      put(before);
      putEscaped(text);
      put(behind);
      return;
    }
    std::memcpy(out, before, kBefore - 1);
    std::memcpy(out + kBefore - 1 + text.size(), behind, kBehind - 1);
    advance(kAround + text.size());
  }

  // The stream's first failure, or kOk.
  int32_t result() const { return result_; }
  // Hands over what is left; the result.
  int32_t finish();

 private:
  static constexpr size_t kFlushAt = 1024;
  static constexpr size_t kLargestStep = 8;  // what may be put at once, up to kFlushAt
  static constexpr size_t kShort = 64;
  static constexpr size_t kSize = kFlushAt + kLargestStep;

  void advance(size_t count) {
    pending_ += count;
    if (pending_ >= kFlushAt) {
      flush();
    }
  }
  // Where `count` bytes can be put without a look at the buffer's end, or null.
  char* room(size_t count) { return count <= kFlushAt - pending_ ? buffer_ + pending_ : nullptr; }
  static char* writeInteger(char* out, int32_t value);
  static bool copyWhenPlain(char* out, std::string_view text);
  const char* copyPlain(const char* next, const char* end);
  void putEscape(uint8_t byte);
  [[gnu::noinline]] void flush();  // once in a thousand bytes

  runtime::Stream* stream_;
  int32_t result_ = 0;
  size_t pending_ = 0;  // below kFlushAt between two calls
  char buffer_[kSize];
};

}  // namespace vexa::json
