#pragma once

#include "runtime/bytes.h"
#include "runtime/counted.h"

namespace vexa::velmora {

// A key of so many bits with random bytes, rounded up. Its bytes are wiped when it goes.
int32_t makeSymmetricKey(uint64_t bits, runtime::SymmetricKey** out);

// The bytes of a key of any maker.
inline ByteView bytesOf(runtime::SymmetricKey* key) {
  return {key->table->GetBytes(key), static_cast<size_t>((key->table->GetBitLength(key) + 7) / 8)};
}

}  // namespace vexa::velmora
