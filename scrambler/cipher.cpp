#include "scrambler/cipher.h"

#include <utility>

#include "base/buffer.h"
#include "base/wipe.h"
#include "scrambler/cipher_items.h"

namespace vexa::scrambler {

using base::bound;

int32_t generateKey(uint32_t algorithm, uint64_t keyBits, runtime::SymmetricKey** key) {
  *key = nullptr;
  if (keyBits == 0 || keyBits > kMaxKeyBits) {
    return kBadKeyLength;
  }
  auto bits = static_cast<uint32_t>(keyBits);
  CipherItems<2> items;
  items.add(runtime::kCipherKeyBits, &bits);
  items.add(runtime::kCipherAlgorithm, &algorithm);
  runtime::CipherItem generated{};
  generated.tag = runtime::kCipherKey;
  const int32_t result = bound.crypt->GenerateKey(items.first(), &generated, algorithm);
  if (succeeded(result)) {
    *key = static_cast<runtime::SymmetricKey*>(generated.value);
  }
  return result;
}

int32_t runCipher(const runtime::CipherItem* parameters, const runtime::ByteBuffer* in,
                  runtime::ByteBuffer** out) {
  if (parameters == nullptr || in == nullptr || out == nullptr) {
    return kBadKeyLength;
  }
  const runtime::ByteBuffer input = *in;  // *out may be the same buffer
  uint64_t size = 0;
  int32_t result = bound.crypt->GetOutputSize(parameters, input.length, &size);
  base::RootBlock<uint8_t> old;
  if (succeeded(result)) {
    if (result = base::renewData(out, size, old); failed(result)) {
      return result;
    }
    result = bound.crypt->Cipher(parameters, input.data, input.length, (*out)->data, *out);
    if ((*out)->length > size) {  // more than there is room for, which nobody may read or wipe
      (*out)->length = size;
      result = kFail;
    }
  }
  if (failed(result)) {
    const base::SecretBuffer dropped(std::exchange(*out, nullptr));
    return kFail;
  }
  return kOk;
}

void SymmetricKeyPolicy::release(runtime::SymmetricKey* key) {
  // Without the crypto runtime the key's own table is gone, too.
  if (base::isBound()) {
    base::wipe(key->table->GetBytes(key), key->table->GetBitLength(key) / 8);
    RuntimeObjectPolicy<runtime::SymmetricKey>::release(key);
  }
}

}  // namespace vexa::scrambler
