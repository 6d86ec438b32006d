#pragma once

#include <string_view>

// Sets of characters, spelled out: a test shares no table with what it tests.
namespace vexa::test {

inline constexpr std::string_view kLetters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
inline constexpr std::string_view kDigits = "0123456789";
inline constexpr std::string_view kHexDigits = "0123456789abcdefABCDEF";

constexpr bool isIn(std::string_view set, char c) { return set.find(c) != std::string_view::npos; }
constexpr bool isLetterOrDigit(char c) { return isIn(kLetters, c) || isIn(kDigits, c); }

}  // namespace vexa::test
