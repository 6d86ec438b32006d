#pragma once

#include <ostream>
#include <span>
#include <string_view>

namespace vexa::test {

// A JSON text and what becomes of it.
struct ParseCase {
  const char* name;
  std::string_view text;
  std::string_view tree;  // in the notation of describe(), or kRefused
};
inline constexpr std::string_view kRefused = "refused";
inline void PrintTo(const ParseCase& value, std::ostream* out) { *out << value.text; }

std::span<const ParseCase> layoutCases();   // top level, white space, comments, punctuation
std::span<const ParseCase> contentCases();  // words, numbers, strings, keys, equal keys

}  // namespace vexa::test
