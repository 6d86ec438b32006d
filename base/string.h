#pragma once

#include <cstdint>
#include <string_view>
#include <utility>

#include "base/tables.h"
#include "vexa/results.h"

namespace vexa::base {

// Owns one string object of the string component, by value: its record is exactly the component's,
// so get() can be handed across the border. Every operation is the component's own; texts borrowed
// from it live until the next change. Not thread-safe. `Kind` names record, unit and table.
template <class Kind>
class BasicString {
 public:
  using Object = typename Kind::Object;
  using Char = typename Kind::Char;

  BasicString() = default;
  BasicString(BasicString&& other) noexcept : object_(std::exchange(other.object_, {})) {}
  BasicString& operator=(BasicString&& other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~BasicString() { clear(); }

  void clear() {
    if (object_.text != nullptr) {
      Kind::table().Clear(&object_);
    }
  }
  [[nodiscard]] int32_t assign(const Char* text) {
    return Kind::table().AssignText(&object_, text);
  }
  [[nodiscard]] int32_t append(const Char* text) {
    return Kind::table().AppendText(&object_, text);
  }
  // 1: found. 0: absent. Negative: failed. An out may be this string.
  [[nodiscard]] int32_t splitFirst(const Char* separator, BasicString& before,
                                   BasicString& rest) const {
    return Kind::table().SplitFirst(&object_, separator, &before.object_, &rest.object_);
  }

  const Char* text() const { return Kind::table().GetText(&object_); }
  uint64_t length() const { return Kind::table().GetLength(&object_); }
  bool empty() const { return length() == 0; }
  std::basic_string_view<Char> view() const { return {text(), length()}; }
  bool equals(const BasicString& other) const {
    return Kind::table().Compare(&object_, &other.object_) == 0;
  }

  Object* get() { return &object_; }
  const Object* get() const { return &object_; }

 private:
  Object object_{};
};

struct NarrowStrings {
  using Object = runtime::StringObject;
  using Char = char;
  static const runtime::StringTable& table() { return *bound.strings; }
};
// 8-bit units (String.1).
using String = BasicString<NarrowStrings>;
static_assert(sizeof(String) == sizeof(runtime::StringObject));

struct WideStrings {
  using Object = runtime::WideStringObject;
  using Char = char16_t;
  static const runtime::WideStringTable& table() { return *bound.wideStrings; }
};
// 16-bit units (StringW.1).
class WideString : public BasicString<WideStrings> {
 public:
  [[nodiscard]] int32_t fromUtf8(const char* text) {
    return bound.wideStrings->FromMultiByte(get(), runtime::kUtf8, text);
  }
  [[nodiscard]] int32_t toUtf8(String& out) const {
    return bound.wideStrings->ToMultiByte(get(), runtime::kUtf8, out.get());
  }
  // Index in units, or runtime::kNotFound.
  uint64_t find(const char16_t* text, uint64_t start = 0) const {
    return bound.wideStrings->Find(get(), text, start);
  }
  bool wildcardMatch(const char16_t* pattern) const {
    return bound.wideStrings->WildcardMatch(get(), pattern) == 1;
  }
};
static_assert(sizeof(WideString) == sizeof(runtime::WideStringObject));

}  // namespace vexa::base
