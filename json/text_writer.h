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

  // The stream's first failure, or kOk.
  int32_t result() const { return result_; }
  // Hands over what is left; the result.
  int32_t finish();

 private:
  static constexpr size_t kFlushAt = 1024;
  static constexpr size_t kLargestStep = 8;  // what may be put at once, up to kFlushAt
  static constexpr size_t kSize = kFlushAt + kLargestStep;

  void advance(size_t count) {
    pending_ += count;
    if (pending_ >= kFlushAt) {
      flush();
    }
  }
  const char* copyPlain(const char* next, const char* end);
  void putEscape(uint8_t byte);
  void flush();

  runtime::Stream* stream_;
  int32_t result_ = 0;
  size_t pending_ = 0;  // below kFlushAt between two calls
  char buffer_[kSize];
};

}  // namespace vexa::json
