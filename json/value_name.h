#pragma once

#include <cstdint>
#include <string_view>

#include "vexa/runtime/records.h"

namespace vexa::json {

// The name of a value: a string object of String.1. A parsed name is first only looked at where it
// stands in the text, and becomes a string object when somebody asks for one. Whether it has is
// told by the owner, which has room for a flag.
class ValueName {
 public:
  // Borrows a text with a zero byte behind it, which outlives this object.
  void borrow(std::string_view name) { borrowed_ = {name.data(), name.size()}; }
  // The bytes, with a zero byte behind them.
  std::string_view view(bool isBorrowed) const {
    return isBorrowed ? std::string_view(borrowed_.text, borrowed_.length) : ownView();
  }

  // Both leave a string object behind on success, and everything as it was on failure
  // (kOutOfMemory, or what String.1 says).
  [[nodiscard]] int32_t assign(bool isBorrowed, const void* bytes, uint64_t length);
  [[nodiscard]] int32_t own() { return assign(true, borrowed_.text, borrowed_.length); }

  // Only when it is not borrowed.
  const runtime::StringObject* object() const { return &object_; }
  void clear();

 private:
  struct Borrowed {
    const char* text;
    uint64_t length;
  };

  std::string_view ownView() const;

  union {
    runtime::StringObject object_{};
    Borrowed borrowed_;
  };
};
static_assert(sizeof(ValueName) == sizeof(runtime::StringObject));

}  // namespace vexa::json
