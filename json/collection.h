#pragma once

#include <cstdint>
#include <span>

#include "json/values.h"

namespace vexa::json {

// What objects and arrays share: a vector of values, with one reference to each.
class JsonCollection : public JsonValue {
 public:
  // kFail for a collection that is neither object nor array.
  int32_t Write(runtime::Stream* stream) override;

  std::span<JsonValue* const> elements() const { return {items_, count_}; }
  // For the pool's parser, and an empty collection: takes over a reference to each value. The array
  // is the pool's.
  void adopt(std::span<JsonValue*> values) {
    items_ = values.data();
    count_ = values.size();
  }

 protected:
  explicit JsonCollection(JsonType type) : JsonValue(type) {}
  ~JsonCollection() { releaseElements(); }

  JsonValue* at(uint64_t index) const { return index < count_ ? items_[index] : nullptr; }
  uint64_t count() const { return count_; }
  // Takes over the caller's reference. kOutOfMemory: the reference stays the caller's.
  [[nodiscard]] int32_t append(JsonValue* value);
  // The same in the place of another element, which is released.
  void replace(uint64_t index, JsonValue* value);

 private:
  void releaseElements();
  // Releases the elements. Collections that nobody refers to any more are put before `dying`, with
  // their elements still to be released; other values end.
  void dropElements(JsonCollection*& dying, ValueMemory& memory);

  JsonValue** items_ = nullptr;  // a block of the root list, or borrowed from the pool
  uint64_t count_ = 0;
  JsonCollection* nextDying_ = nullptr;
};

// The object or array behind an element, null for any other value.
inline JsonCollection* asCollection(JsonValue* value) {
  const uint32_t type = value->type();
  return type == kJsonObject || type == kJsonArray ? static_cast<JsonCollection*>(value) : nullptr;
}

// A new value with one reference.
template <class Kind>
int32_t createValue(base::ComPtr<Kind>& out) {
  base::ComPtr<base::CComObject<Kind>> made;
  const int32_t result = base::createObject(made);
  out.reset(made.release());
  return result;
}

// The same with something in it.
template <class Kind, class... Arguments>
int32_t createValue(base::ComPtr<JsonValue>& out, Arguments... arguments) {
  base::ComPtr<Kind> made;
  int32_t result = createValue(made);
  if (failed(result)) {
    return result;
  }
  if constexpr (sizeof...(Arguments) == 2) {
    if (result = made->set(arguments...); failed(result)) {
      return result;
    }
  } else if constexpr (sizeof...(Arguments) == 1) {
    made->set(arguments...);
  }
  out.reset(made.release());
  return kOk;
}

}  // namespace vexa::json
