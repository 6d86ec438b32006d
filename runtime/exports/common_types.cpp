#include "runtime/exports/common_types.h"

#include <cstring>

#include "runtime/exports/crypto_types.h"
#include "runtime/heap.h"
#include "runtime/hex.h"
#include "vexa/results.h"

namespace vexa::velmora {
namespace {

int32_t duplicateObject(runtime::Object* item, void** copy) {
  if (copy == nullptr) {
    return kNullPointer;
  }
  *copy = nullptr;
  return item == nullptr ? kOk : item->table->Duplicate(item, copy);
}

constexpr runtime::TypeOperations typeOperations = {
    .reserved0 = nullptr,
    .reserved1 = nullptr,
    .reserved2 = nullptr,
    .reserved3 = nullptr,
    .Duplicate = duplicateObject,
    .reserved5 = nullptr,
    .reserved6 = nullptr,
};

void bufferRelease(runtime::ByteBuffer* buffer) {
  if (buffer != nullptr) {
    freeBlock(buffer->data);
    freeBlock(buffer);
  }
}

// The order of two buffers; only 0 has a stated meaning.
int32_t bufferCompare(const runtime::ByteBuffer* a, const runtime::ByteBuffer* b) {
  if (a == nullptr || b == nullptr) {
    return a == b ? 0 : 1;
  }
  if (a->length != b->length) {
    return a->length < b->length ? -1 : 1;
  }
  return a->length == 0 ? 0 : std::memcmp(a->data, b->data, a->length);
}

bool readHex(const char* hex, uint64_t count, uint8_t* bytes) {
  for (uint64_t i = 0; i < count; ++i) {
    const int high = hexDigit(hex[2 * i]);
    const int low = hexDigit(hex[2 * i + 1]);
    if (high < 0 || low < 0) {
      return false;
    }
    bytes[i] = static_cast<uint8_t>(high * 16 + low);
  }
  return true;
}

// The old content of a buffer that is given stays when the text is refused.
int32_t bufferFromHex(const char* hex, runtime::ByteBuffer** out) {
  if (hex == nullptr || out == nullptr) {
    return kNullPointer;
  }
  const uint64_t length = std::strlen(hex);
  auto* const bytes = static_cast<uint8_t*>(allocateBlock(length / 2));
  if (bytes == nullptr) {
    return kOutOfMemory;
  }
  if (length % 2 != 0 || !readHex(hex, length / 2, bytes)) {
    freeBlock(bytes);
    return kInvalidArgument;
  }
  if (*out == nullptr) {
    *out = static_cast<runtime::ByteBuffer*>(allocateBlock(sizeof(runtime::ByteBuffer)));
    if (*out == nullptr) {
      freeBlock(bytes);
      return kOutOfMemory;
    }
  }
  freeBlock((*out)->data);
  **out = {length / 2, bytes};
  return kOk;
}

runtime::CommonTypes assemble() {
  runtime::CommonTypes types{};
  types.typeOperations = &typeOperations;
  types.TextDuplicate = duplicateComponentText;
  types.TextRelease = freeComponentText;
  types.BufferRelease = bufferRelease;
  types.BufferCompare = bufferCompare;
  types.BufferFromHex = bufferFromHex;
  addCryptoTypes(types);
  return types;
}

}  // namespace

const runtime::CommonTypes commonTypesTable = assemble();

}  // namespace vexa::velmora
