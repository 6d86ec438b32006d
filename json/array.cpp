#include <utility>

#include "json/collections.h"

namespace vexa::json {
namespace {

const base::InterfaceMapRow kMap[] = {base::mapRow<JsonArray, IJsonArray>(IID_IJsonArray),
                                      base::mapEnd()};

}  // namespace

using base::ComPtr;

const base::InterfaceMapRow* JsonArray::InterfaceMap() { return kMap; }

uint32_t JsonArray::GetTypeAt(uint64_t index) { return contentAt(index).type(); }

int32_t JsonArray::GetStringAt(uint64_t index, runtime::StringObject* value) {
  return stringOf(contentAt(index), value);
}

const char* JsonArray::GetStringPtrAt(uint64_t index) { return stringPtrOf(contentAt(index)); }

int32_t JsonArray::GetIntegerAt(uint64_t index, int32_t* value) {
  return integerOf(contentAt(index), value);
}

int32_t JsonArray::GetObjectAt(uint64_t index, IJsonObject** value) {
  return value == nullptr ? kNullPointer
                          : query(index, IID_IJsonObject, reinterpret_cast<void**>(value));
}

int32_t JsonArray::GetArrayAt(uint64_t index, IJsonArray** value) {
  return value == nullptr ? kNullPointer
                          : query(index, IID_IJsonArray, reinterpret_cast<void**>(value));
}

int32_t JsonArray::GetBoolAt(uint64_t index, uint32_t* value) {
  return truthOf(contentAt(index), value);
}

int32_t JsonArray::SetStringAt(uint64_t index, const char* text) {
  return text == nullptr ? kInvalidArgument : place(index, makeString(text));
}

int32_t JsonArray::SetIntegerAt(uint64_t index, int32_t value) {
  return place(index, makeNumber(value));
}

int32_t JsonArray::AddObjectAt(uint64_t index, IJsonObject** value) {
  return addNew<JsonObject>(value,
                            [&](ComPtr<JsonValue> made) { return place(index, std::move(made)); });
}

int32_t JsonArray::AddArrayAt(uint64_t index, IJsonArray** value) {
  return addNew<JsonArray>(value,
                           [&](ComPtr<JsonValue> made) { return place(index, std::move(made)); });
}

int32_t JsonArray::SetBoolAt(uint64_t index, uint8_t value) {
  return place(index, makeBool(value != 0));
}

int32_t JsonArray::SetNullAt(uint64_t index) { return place(index, makeNull()); }

int32_t JsonArray::place(uint64_t index, ComPtr<JsonValue> value) {
  if (!value) {
    return kOutOfMemory;
  }
  const uint64_t target = index == kJsonAtEnd ? count() : index;
  if (target > count()) {
    return kFail;
  }
  if (target < count()) {
    replace(target, std::move(value));
    return kOk;
  }
  return append(std::move(value));
}

}  // namespace vexa::json
