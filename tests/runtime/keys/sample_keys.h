#pragma once

#include "runtime/keys/key_pieces.h"
#include "runtime/samples.h"

namespace vexa::test {

// Reads keys as they are and encrypted, in each way `sweep(pieces, operation)` lets that fail.
template <class Sweep>
void sweepReadingOfKeys(Sweep sweep) {
  for (const std::string_view der : {samples::kLeafKey, samples::kAesKey, samples::kTripleDesKey}) {
    const runtime::ByteBuffer buffer = bufferOf(der);
    HeldKey key;
    ASSERT_EQ(velmora_key_read(&buffer, "secret", key.put(), nullptr), kOk);
    sweep(keyPieces(*key.get()), [&] {
      HeldKey read;
      return velmora_key_read(&buffer, "secret", read.put(), nullptr);
    });
  }
}

}  // namespace vexa::test
