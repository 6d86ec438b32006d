#pragma once

namespace vexa::velmora {

// The value of a hexadecimal digit of either case; negative for any other character.
constexpr int hexDigit(char character) {
  if (character >= '0' && character <= '9') {
    return character - '0';
  }
  const char lower = static_cast<char>(character | 0x20);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

}  // namespace vexa::velmora
