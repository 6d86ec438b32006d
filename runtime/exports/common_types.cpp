#include "runtime/exports/common_types.h"

#include <cstring>

#include "runtime/exports/crypto_types.h"
#include "runtime/heap.h"
#include "runtime/hex.h"
#include "runtime/holders.h"
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
  const HeapBlock<runtime::ByteBuffer> record(buffer);
  if (record) {
    const HeapBlock<uint8_t> data(record->data);
  }
}

// Equal ends of two blocks that are at most two words long: they are equal.
template <class Word>
bool endsAreEqual(const uint8_t* a, const uint8_t* b, uint64_t length) {
  Word ends[4];
  std::memcpy(&ends[0], a, sizeof(Word));
  std::memcpy(&ends[1], b, sizeof(Word));
  std::memcpy(&ends[2], a + length - sizeof(Word), sizeof(Word));
  std::memcpy(&ends[3], b + length - sizeof(Word), sizeof(Word));
  return ((ends[0] ^ ends[1]) | (ends[2] ^ ends[3])) == 0;
}

// Most are names, too short to be worth a call.
bool areEqualShort(const uint8_t* a, const uint8_t* b, uint64_t length) {
  if (length >= sizeof(uint64_t)) {
    return endsAreEqual<uint64_t>(a, b, length);
  }
  if (length >= sizeof(uint32_t)) {
    return endsAreEqual<uint32_t>(a, b, length);
  }
  return length == 1 ? *a == *b : endsAreEqual<uint16_t>(a, b, length);
}

// 0 for equal buffers; nothing else has a meaning.
int32_t bufferCompare(const runtime::ByteBuffer* a, const runtime::ByteBuffer* b) {
  if (a == nullptr || b == nullptr) [[unlikely]] {
    return a == b ? 0 : 1;
  }
  if (a->length != b->length) [[unlikely]] {
    return 1;
  }
  if (a->length - 1 < 2 * sizeof(uint64_t)) [[likely]] {
    return areEqualShort(a->data, b->data, a->length) ? 0 : 1;
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
  auto bytes = makeBlock<uint8_t>(length / 2);
  if (!bytes) {
    return kOutOfMemory;
  }
  if (length % 2 != 0 || !readHex(hex, length / 2, bytes.get())) {
    return kInvalidArgument;
  }
  if (*out == nullptr) {
    *out = makeBlock<runtime::ByteBuffer>().release();
    if (*out == nullptr) {
      return kOutOfMemory;
    }
  }
  const HeapBlock<uint8_t> old((*out)->data);
  **out = {length / 2, bytes.release()};
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
