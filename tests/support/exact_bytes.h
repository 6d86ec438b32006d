#pragma once

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string_view>

#include "vexa/runtime/records.h"

// Input in heap blocks of its exact size, so that AddressSanitizer sees one byte too far.
namespace vexa::test {

// Bytes without anything behind them.
class ExactBytes {
 public:
  explicit ExactBytes(std::string_view bytes)
      : size_(bytes.size()), data_(std::make_unique<uint8_t[]>(size_)) {
    std::copy(bytes.begin(), bytes.end(), data_.get());
  }
  ExactBytes(std::initializer_list<uint8_t> bytes)
      : size_(bytes.size()), data_(std::make_unique<uint8_t[]>(size_)) {
    std::copy(bytes.begin(), bytes.end(), data_.get());
  }

  uint8_t* data() const { return data_.get(); }
  uint64_t size() const { return size_; }
  const uint8_t* begin() const { return data(); }
  const uint8_t* end() const { return data() + size_; }
  // Borrows the bytes.
  runtime::ByteBuffer buffer() const { return {size_, data()}; }

 private:
  uint64_t size_;
  std::unique_ptr<uint8_t[]> data_;
};

// A text with its terminator and nothing behind it.
template <class Char>
class BasicExactText {
 public:
  explicit BasicExactText(std::basic_string_view<Char> text)
      : length_(text.size()), text_(std::make_unique<Char[]>(text.size() + 1)) {
    std::copy(text.begin(), text.end(), text_.get());
  }

  Char* get() const { return text_.get(); }
  operator const Char*() const { return get(); }
  uint64_t length() const { return length_; }

 private:
  uint64_t length_;
  std::unique_ptr<Char[]> text_;
};
using ExactText = BasicExactText<char>;
using ExactWideText = BasicExactText<char16_t>;

}  // namespace vexa::test
