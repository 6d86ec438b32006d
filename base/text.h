#pragma once

#include <utility>

#include "base/heap.h"
#include "vexa/results.h"

namespace vexa::base {

// Owns one zero-terminated text on the root heap; null when empty. Exactly a pointer wide.
class Text {
 public:
  Text() = default;
  Text(Text&& other) noexcept : text_(other.release()) {}
  Text& operator=(Text&& other) noexcept {
    reset(other.release());
    return *this;
  }
  ~Text() { reset(); }

  // Replaces the text by a duplicate made by the string component. The text already held, and a
  // failed duplicate, change nothing. Null empties the holder.
  [[nodiscard]] int32_t assign(const char* text) {
    if (text == text_) {
      return kOk;
    }
    char* copy = nullptr;
    if (text != nullptr) {
      copy = bound.strings ? bound.strings->TextDuplicate(text) : nullptr;
      if (copy == nullptr) {
        return kOutOfMemory;
      }
    }
    reset(copy);
    return kOk;
  }

  const char* get() const { return text_; }
  char** put() {
    reset();
    return &text_;
  }
  char* release() { return std::exchange(text_, nullptr); }
  void reset(char* text = nullptr) { freeBlock(std::exchange(text_, text)); }

 private:
  char* text_ = nullptr;
};
static_assert(sizeof(Text) == sizeof(char*));

}  // namespace vexa::base
