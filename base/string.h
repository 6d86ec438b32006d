#pragma once

#include <cstdint>
#include <string_view>
#include <utility>

#include "base/tables.h"
#include "vexa/results.h"

namespace vexa::base {

// Owns one string object of the string component, by value: its record is exactly the component's,
// so get() can be handed across the border. Every operation is the component's own (String.1);
// texts borrowed from it live until the next change. Not thread-safe.
class String {
 public:
  String() = default;
  String(String&& other) noexcept : object_(std::exchange(other.object_, {})) {}
  String& operator=(String&& other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~String() { clear(); }

  void clear() {
    if (object_.text != nullptr) {
      bound.strings->Clear(&object_);
    }
  }
  [[nodiscard]] int32_t assignBytes(const void* bytes, uint64_t length) {
    return bound.strings->AssignBytes(&object_, bytes, length);
  }
  [[nodiscard]] int32_t assign(const char* text) {
    return bound.strings->AssignText(&object_, text);
  }
  [[nodiscard]] int32_t append(const char* text) {
    return bound.strings->AppendText(&object_, text);
  }
  [[nodiscard]] int32_t normalise() { return bound.strings->Normalise(&object_); }
  [[nodiscard]] int32_t decode() { return bound.strings->Decode(&object_, &object_); }
  [[nodiscard]] int32_t trim() { return bound.strings->Trim(&object_); }
  // 1: found. 0: absent. Negative: failed. An out may be this string.
  [[nodiscard]] int32_t splitFirst(const char* separator, String& before, String& rest) const {
    return bound.strings->SplitFirst(&object_, separator, &before.object_, &rest.object_);
  }

  const char* text() const { return bound.strings->GetText(&object_); }
  uint64_t length() const { return bound.strings->GetLength(&object_); }
  bool empty() const { return length() == 0; }
  std::string_view view() const { return {text(), length()}; }
  bool equals(const String& other) const {
    return bound.strings->Compare(&object_, &other.object_) == 0;
  }
  bool equalsText(const char* text) const {
    return bound.strings->CompareWithText(&object_, text) == 0;
  }

  runtime::StringObject* get() { return &object_; }
  const runtime::StringObject* get() const { return &object_; }

 private:
  runtime::StringObject object_{};
};
static_assert(sizeof(String) == sizeof(runtime::StringObject));

// The same with 16-bit units (StringW.1).
class WideString {
 public:
  WideString() = default;
  WideString(WideString&& other) noexcept : object_(std::exchange(other.object_, {})) {}
  WideString& operator=(WideString&& other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~WideString() { clear(); }

  void clear() {
    if (object_.text != nullptr) {
      bound.wideStrings->Clear(&object_);
    }
  }
  [[nodiscard]] int32_t assignUnits(const char16_t* units, uint64_t length) {
    return bound.wideStrings->AssignUnits(&object_, units, length);
  }
  [[nodiscard]] int32_t assign(const char16_t* text) {
    return bound.wideStrings->AssignText(&object_, text);
  }
  [[nodiscard]] int32_t append(const char16_t* text) {
    return bound.wideStrings->AppendText(&object_, text);
  }
  [[nodiscard]] int32_t trim() { return bound.wideStrings->Trim(&object_); }
  [[nodiscard]] int32_t fromUtf8(const char* text) {
    return bound.wideStrings->FromMultiByte(&object_, runtime::kUtf8, text);
  }
  [[nodiscard]] int32_t toUtf8(String& out) const {
    return bound.wideStrings->ToMultiByte(&object_, runtime::kUtf8, out.get());
  }
  [[nodiscard]] int32_t splitFirst(const char16_t* separator, WideString& before,
                                   WideString& rest) const {
    return bound.wideStrings->SplitFirst(&object_, separator, &before.object_, &rest.object_);
  }

  const char16_t* text() const { return bound.wideStrings->GetText(&object_); }
  uint64_t length() const { return bound.wideStrings->GetLength(&object_); }
  bool empty() const { return length() == 0; }
  // Index in units, or runtime::kNotFound.
  uint64_t find(const char16_t* text, uint64_t start = 0) const {
    return bound.wideStrings->Find(&object_, text, start);
  }
  bool wildcardMatch(const char16_t* pattern) const {
    return bound.wideStrings->WildcardMatch(&object_, pattern) == 1;
  }
  bool equals(const WideString& other) const {
    return bound.wideStrings->Compare(&object_, &other.object_) == 0;
  }

  runtime::WideStringObject* get() { return &object_; }
  const runtime::WideStringObject* get() const { return &object_; }

 private:
  runtime::WideStringObject object_{};
};
static_assert(sizeof(WideString) == sizeof(runtime::WideStringObject));

}  // namespace vexa::base
