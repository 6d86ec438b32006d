#pragma once

#include <string>

#include "runtime/keys/secret_pieces.h"
#include "support/own_stack.h"
#include "support/spy_runtime.h"

namespace vexa::test {

// A stack in which secrets are looked for.
class SearchedStack : public OwnStack {
 public:
  int count(const Pieces& pieces) const {
    const std::vector<uint8_t> bytes = left();
    return pieces.countInPlain(bytes.data(), bytes.size());
  }
};

// Runs `operation`, which leaves nothing of a secret: in a block that it gives back, or on the
// stack that it ran on.
inline void expectNothingLeft(SpyRuntime& spy, const Pieces& pieces, const std::string& when,
                              const std::function<void()>& operation) {
  int inBlocks = 0;
  SearchedStack stack;
  stack.run([&] {
    inBlocks = 0;
    spy.onFree = [&](const uint8_t* block, uint64_t size) {
      inBlocks += pieces.countInPlain(block, size);
    };
    operation();
    spy.onFree = nullptr;
  });
  EXPECT_EQ(inBlocks, 0) << "in blocks, " << when;
  EXPECT_EQ(stack.count(pieces), 0) << "on the stack, " << when;
}

}  // namespace vexa::test
