#include "values.h"

#include <algorithm>
#include <cstdint>

namespace vexahost {
namespace {

using vexa::runtime::WideStringObject;

class WideStringRef {
 public:
  explicit WideStringRef(const Module& module) : module_(module) {}
  WideStringRef(const WideStringRef&) = delete;
  WideStringRef& operator=(const WideStringRef&) = delete;
  ~WideStringRef() { module_.wideStrings().Clear(&string_); }

  WideStringObject* get() { return &string_; }

 private:
  const Module& module_;
  WideStringObject string_{};
};

// Bytes of the well-formed UTF-8 sequence (RFC 3629) that `bytes` begins with, or 0.
size_t sequenceLength(std::string_view bytes) {
  const auto at = [bytes](size_t i) { return static_cast<uint8_t>(bytes[i]); };
  const uint8_t lead = at(0);
  if (lead < 0x80) {
    return 1;
  }
  const size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || bytes.size() < length) {
    return 0;
  }
  // The second byte's range keeps out long forms, surrogates and what lies above U+10FFFF.
  const uint8_t lowest = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  const uint8_t highest = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
  if (at(1) < lowest || at(1) > highest) {
    return 0;
  }
  for (size_t i = 2; i < length; ++i) {
    if ((at(i) & 0xC0) != 0x80) {
      return 0;
    }
  }
  return length;
}

}  // namespace

std::u16string toUtf16(const Module& module, const std::string& text) {
  WideStringRef wide(module);
  check(module.wideStrings().FromMultiByte(wide.get(), vexa::runtime::kUtf8, text.c_str()),
        "converting a text");
  return {module.wideStrings().GetText(wide.get()), module.wideStrings().GetLength(wide.get())};
}

std::string toUtf8(const Module& module, const char16_t* text) {
  WideStringRef wide(module);
  vexa::String narrow = module.string();
  check(module.wideStrings().AssignText(wide.get(), text), "copying a text");
  check(module.wideStrings().ToMultiByte(wide.get(), vexa::runtime::kUtf8, narrow.get()),
        "converting a text");
  return std::string(narrow.view());
}

std::string validUtf8(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size());
  while (!bytes.empty()) {
    const size_t length = sequenceLength(bytes);
    text += length != 0 ? bytes.substr(0, length) : std::string_view("\xEF\xBF\xBD");
    bytes.remove_prefix(std::max<size_t>(length, 1));
  }
  return text;
}

}  // namespace vexahost
