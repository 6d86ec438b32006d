#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// UTF-8 (RFC 3629) that nobody has looked at yet.
namespace vexahost {

struct CodePoint {
  uint32_t value;  // the byte itself where there is none
  size_t length;   // in bytes; 0: not UTF-8
};
// The first code point of a text that is not empty.
CodePoint firstCodePoint(std::string_view text);

// The bytes with every invalid sequence replaced by U+FFFD, for output that must be UTF-8.
std::string validUtf8(std::string_view bytes);

}  // namespace vexahost
