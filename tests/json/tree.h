#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "raw_json.h"

namespace vexa::test {

// A JSON value as plain data, to be compared.
struct Tree {
  uint32_t type = kJsonAbsent;
  int64_t number = 0;  // 0 and 1 for a truth value
  std::string text{};
  std::vector<std::pair<std::string, Tree>> members{};  // keys are empty in an array

  friend bool operator==(const Tree&, const Tree&) = default;
};

// As the interfaces show it.
Tree treeOf(const RawObject& object);

// On one line: {'key':value,...}, [value,...], 1, 'text', true, false, null. In quotes stands
// printable ASCII; every other byte, ' and < are written as <hexadecimal>.
std::string describe(const Tree& tree);
void PrintTo(const Tree& tree, std::ostream* out);

}  // namespace vexa::test
