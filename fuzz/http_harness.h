#pragma once

#include <string>

#include "harness.h"

// The string component's rules over strings by value, for the models of the HTTP classes.
namespace vexa::fuzz {

inline std::string trimmed(const std::string& text) {
  constexpr const char* kBlanks = "\t\n\r ";
  const size_t first = text.find_first_not_of(kBlanks);
  return first == std::string::npos
             ? ""
             : text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

inline std::string normalised(std::string text) {
  for (char& c : text) {
    c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  }
  return text;
}

}  // namespace vexa::fuzz
