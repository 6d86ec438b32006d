#pragma once

#include <cstring>
#include <string_view>

#include "base/char_classes.h"
#include "vexa/runtime/records.h"

// Texts cut out of bytes where they stand, and put together.
namespace vexa::webclient {

// Copies the text to `out` and answers what is behind it.
template <class Byte>
Byte* append(Byte* out, std::string_view text) {
  if (!text.empty()) {
    std::memcpy(out, text.data(), text.size());
  }
  return out + text.size();
}

// Without the white space around it, which is that of the string component's Trim.
inline std::string_view trimmed(std::string_view text) {
  while (!text.empty() && base::isInClass(text.front(), base::kWhitespace)) {
    text.remove_prefix(1);
  }
  while (!text.empty() && base::isInClass(text.back(), base::kWhitespace)) {
    text.remove_suffix(1);
  }
  return text;
}

// The text that a piece of the module's own bytes becomes by a zero byte behind it. The string
// component works on it in place; it owns nothing.
inline runtime::StringObject terminated(std::string_view piece) {
  auto* const text = const_cast<char*>(piece.data());
  text[piece.size()] = '\0';
  return {text, piece.size()};
}

}  // namespace vexa::webclient
