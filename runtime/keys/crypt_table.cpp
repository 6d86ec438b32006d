#include "runtime/keys/crypt_table.h"

#include "runtime/keys/cipher.h"
#include "runtime/keys/symmetric_key.h"

namespace vexa::velmora {
namespace {

constexpr uint32_t kMaxKeyBits = 16384;
constexpr uint64_t kPkcs7Padding = 4;
constexpr int kMaxItems = 64;  // a longer list is one that runs in a circle

const runtime::CipherItem* findItem(const runtime::CipherItem* item, uint32_t tag) {
  for (int count = 0; item != nullptr && count < kMaxItems; ++count, item = item->next) {
    if (item->tag == tag) {
      return item;
    }
  }
  return nullptr;
}

// What the value of the item with this tag points to; null without item or value.
template <class T>
const T* findValue(const runtime::CipherItem* list, uint32_t tag) {
  const runtime::CipherItem* const item = findItem(list, tag);
  return item == nullptr ? nullptr : static_cast<const T*>(item->value);
}

// Algorithm and direction, and the mode and padding where the algorithm has any.
int32_t readOperation(const runtime::CipherItem* list, CipherOperation& out) {
  const auto* const algorithm = findValue<uint32_t>(list, runtime::kCipherAlgorithm);
  const auto* const mode = findValue<uint32_t>(list, runtime::kCipherMode);
  const auto* const padding = findValue<uint64_t>(list, runtime::kCipherPadding);
  out = {};
  out.algorithm = algorithm == nullptr ? nullptr : findCipher(*algorithm);
  if (out.algorithm == nullptr) {
    return kInvalidArgument;
  }
  out.reverse = findItem(list, runtime::kCipherReverse) != nullptr;
  if (isStreamCipher(*out.algorithm)) {
    return kOk;
  }
  if (mode == nullptr || *mode > static_cast<uint32_t>(CipherMode::kCfb)) {
    return kInvalidArgument;
  }
  out.mode = static_cast<CipherMode>(*mode);
  const bool padded = out.mode != CipherMode::kCfb;
  if (padded && (padding == nullptr || *padding != kPkcs7Padding)) {
    return kInvalidArgument;
  }
  if (const auto* const iv = findValue<runtime::ByteBuffer>(list, runtime::kCipherIv)) {
    out.iv = viewOf(*iv);
  }
  if (const auto* const width = findValue<uint64_t>(list, runtime::kCipherExtraLength)) {
    out.feedbackBytes = *width;
  }
  return kOk;
}

int32_t generateKey(const runtime::CipherItem* parameters, runtime::CipherItem* out,
                    uint32_t algorithm) {
  if (parameters == nullptr || out == nullptr) {
    return kNullPointer;
  }
  const auto* const bits = findValue<uint32_t>(parameters, runtime::kCipherKeyBits);
  const auto* const listed = findValue<uint32_t>(parameters, runtime::kCipherAlgorithm);
  const CipherAlgorithm* const known = findCipher(algorithm);
  if (known == nullptr || (listed != nullptr && *listed != algorithm)) {
    return kInvalidArgument;
  }
  if (bits == nullptr || *bits == 0 || *bits > kMaxKeyBits) {
    return kBadKeyLength;
  }
  if (!fitsKeyLength(*known, *bits)) {
    return kBadKeyLength;
  }
  runtime::SymmetricKey* key = nullptr;
  const int32_t result = makeSymmetricKey(*bits, &key);
  if (!failed(result)) {
    out->value = key;
  }
  return result;
}

int32_t cipher(const runtime::CipherItem* parameters, const uint8_t* in, uint64_t inLength,
               uint8_t* out, runtime::ByteBuffer* outRecord) {
  if (parameters == nullptr || outRecord == nullptr || (in == nullptr && inLength != 0)) {
    return kNullPointer;
  }
  CipherOperation operation;
  int32_t result = readOperation(parameters, operation);
  if (failed(result)) {
    return result;
  }
  const runtime::CipherItem* const key = findItem(parameters, runtime::kCipherKey);
  if (key == nullptr || key->value == nullptr) {
    return kInvalidArgument;
  }
  operation.key = bytesOf(static_cast<runtime::SymmetricKey*>(key->value));
  const uint64_t needed = outputSize(operation, inLength);
  if (needed > outRecord->length) {
    return kInvalidArgument;
  }
  if (out == nullptr && needed != 0) {
    return kNullPointer;
  }
  uint64_t length = 0;
  result = runCipher(operation, {in, static_cast<size_t>(inLength)}, out, length);
  if (!failed(result)) {
    outRecord->length = length;
  }
  return result;
}

int32_t getOutputSize(const runtime::CipherItem* parameters, uint64_t inLength, uint64_t* size) {
  if (parameters == nullptr || size == nullptr) {
    return kNullPointer;
  }
  CipherOperation operation;
  const int32_t result = readOperation(parameters, operation);
  if (!failed(result)) {
    *size = outputSize(operation, inLength);
  }
  return result;
}

}  // namespace

constinit const runtime::CryptTable cryptTable = {
    .reserved0 = nullptr,
    .GenerateKey = generateKey,
    .reserved2to17 = {},
    .Cipher = cipher,
    .reserved19to43 = {},
    .GetOutputSize = getOutputSize,
};

}  // namespace vexa::velmora
