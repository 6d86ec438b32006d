#pragma once

#include "runtime/keys/secret_pieces.h"
#include "support/own_stack.h"

namespace vexa::test {

// A stack in which secrets are looked for.
class SearchedStack : public OwnStack {
 public:
  int count(const Pieces& pieces) const {
    const std::vector<uint8_t> bytes = left();
    return pieces.countInPlain(bytes.data(), bytes.size());
  }
};

}  // namespace vexa::test
