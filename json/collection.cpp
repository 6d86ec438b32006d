#include "json/collection.h"

#include <cstring>

#include "base/heap.h"
#include "json/serializer.h"

namespace vexa::json {

int32_t JsonCollection::Write(runtime::Stream* stream) { return writeCollection(stream, *this); }

int32_t JsonCollection::append(JsonValue* value) {
  const uint64_t size = (count_ + 1) * sizeof(JsonValue*);
  void* const grown = base::reallocate(hasOwnData() ? items_ : nullptr, size);
  if (grown == nullptr) {
    return kOutOfMemory;
  }
  if (!hasOwnData() && count_ != 0) {
    std::memcpy(grown, items_, count_ * sizeof(JsonValue*));
  }
  setOwnData(true);
  items_ = static_cast<JsonValue**>(grown);
  items_[count_++] = value;
  return kOk;
}

void JsonCollection::replace(uint64_t index, JsonValue* value) {
  std::exchange(items_[index], value)->Release();
}

// Not by recursion: values can be nested deeper than the stack is.
void JsonCollection::releaseElements() {
  if (items_ == nullptr) {
    return;
  }
  ValueMemory memory;
  JsonCollection* dying = nullptr;
  dropElements(dying, memory);
  while (dying != nullptr) {
    JsonCollection* const collection = dying;
    dying = collection->nextDying_;
    collection->dropElements(dying, memory);
    collection->destroy(memory);
  }
}

void JsonCollection::dropElements(JsonCollection*& dying, ValueMemory& memory) {
  for (JsonValue* const value : elements()) {
    if (!value->dropReference()) {
      continue;
    }
    if (JsonCollection* const collection = asCollection(value); collection != nullptr) {
      collection->nextDying_ = dying;
      dying = collection;
    } else {
      value->destroy(memory);
    }
  }
  if (hasOwnData()) {
    base::freeBlock(items_);
    setOwnData(false);
  }
  items_ = nullptr;
  count_ = 0;
}

}  // namespace vexa::json
