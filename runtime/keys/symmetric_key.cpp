#include "runtime/keys/symmetric_key.h"

#include "runtime/keys/system_random.h"

namespace vexa::velmora {
namespace {

struct SymmetricKeyObject : Counted<runtime::SymmetricKey> {
  static constexpr char kTypeName[] = "SymmetricKey";
  static const runtime::SymmetricKeyTable kTable;

  explicit SymmetricKeyObject(uint64_t bits) : Counted(&kTable), bitLength(bits) {}

  uint64_t bitLength;
  Bytes bytes;
};

uint64_t getBitLength(runtime::SymmetricKey* self) {
  return static_cast<SymmetricKeyObject*>(self)->bitLength;
}
uint8_t* getBytes(runtime::SymmetricKey* self) {
  return static_cast<SymmetricKeyObject*>(self)->bytes.data();
}

int32_t copy(const SymmetricKeyObject& source, void** out) {
  Ref<SymmetricKeyObject> target(makeOnHeap<SymmetricKeyObject>(source.bitLength));
  if (!target) {
    return kOutOfMemory;
  }
  target->bytes.append(source.bytes.view());
  if (target->bytes.failed()) {
    return kOutOfMemory;
  }
  *out = static_cast<runtime::SymmetricKey*>(target.release());
  return kOk;
}

int32_t duplicate(runtime::Object* object, void** out) {
  if (out == nullptr) {
    return kNullPointer;
  }
  *out = nullptr;
  return copy(*CountedHeader<SymmetricKeyObject>::self(object), out);
}

constinit const runtime::SymmetricKeyTable SymmetricKeyObject::kTable = {
    .header = CountedHeader<SymmetricKeyObject>::table(duplicate),
    .GetBitLength = getBitLength,
    .GetBytes = getBytes,
};

}  // namespace

int32_t makeSymmetricKey(uint64_t bits, runtime::SymmetricKey** out) {
  Ref<SymmetricKeyObject> key(makeOnHeap<SymmetricKeyObject>(bits));
  if (!key) {
    return kOutOfMemory;
  }
  key->bytes.resize(static_cast<size_t>((bits + 7) / 8));
  if (key->bytes.failed()) {
    return kOutOfMemory;
  }
  if (!systemRandom(key->bytes.data(), key->bytes.size())) {
    return kFail;
  }
  *out = key.release();
  return kOk;
}

}  // namespace vexa::velmora
