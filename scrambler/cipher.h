#pragma once

#include "base/holders.h"
#include "vexa/runtime/crypt_table.h"
#include "vexa/runtime/object.h"

// The two steps of the scrambler that reach the crypto runtime.
namespace vexa::scrambler {

inline constexpr uint64_t kMaxKeyBits = 16384;

// A new random key. kBadKeyLength: not 1 to kMaxKeyBits bits. Otherwise the runtime's result. The
// key is null on failure.
[[nodiscard]] int32_t generateKey(uint32_t algorithm, uint64_t keyBits,
                                  runtime::SymmetricKey** key);

// Runs the cipher that `parameters` describe over the input. *out gets a record when it is null,
// and a new block, which ends as long as the output; the block that it held is freed last, because
// it may be the input's.
//   kBadKeyLength  a missing argument.
//   kOutOfMemory   *out is as it was.
//   kFail          the runtime refuses; *out is wiped, released and null.
[[nodiscard]] int32_t runCipher(const runtime::CipherItem* parameters,
                                const runtime::ByteBuffer* in, runtime::ByteBuffer** out);

// Owns a key and wipes its whole bytes when it goes.
struct SymmetricKeyPolicy : PointerPolicy<runtime::SymmetricKey> {
  static void release(runtime::SymmetricKey* key);
};
using SymmetricKey = Holder<SymmetricKeyPolicy>;

}  // namespace vexa::scrambler
