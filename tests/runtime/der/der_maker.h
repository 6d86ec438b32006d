#pragma once

#include <string>

#include "runtime/crypto_fixture.h"

namespace vexa::test {

// One DER element; the tag in hexadecimal digits.
inline std::string element(const char* tagHex, const std::string& content) {
  std::string header = fromHex(tagHex);
  if (content.size() < 0x80) {
    header += static_cast<char>(content.size());
  } else {
    header +=
        {'\x83', static_cast<char>(content.size() >> 16),
         static_cast<char>(content.size() >> 8 & 0xFF), static_cast<char>(content.size() & 0xFF)};
    // The shortest form, as DER wants it.
    const size_t zeros = content.size() < 0x100 ? 2 : content.size() < 0x10000 ? 1 : 0;
    header.erase(2, zeros);
    header[1] = static_cast<char>(0x83 - zeros);
  }
  return header + content;
}

// As many of these parts as there is room for.
inline std::string asManyOf(const std::string& part, size_t room) {
  std::string parts;
  while (parts.size() + part.size() <= room) {
    parts += part;
  }
  return parts;
}

}  // namespace vexa::test
