#include "json/array.h"

#include <cstring>
#include <utility>

#include "json/object.h"

namespace vexa::json {

const base::InterfaceMapRow* JsonArray::InterfaceMap() {
  static const base::InterfaceMapRow map[] = {base::mapRow<JsonArray, IJsonArray>(IID_IJsonArray),
                                              base::mapEnd()};
  return map;
}

uint32_t JsonArray::GetTypeAt(uint64_t index) {
  const JsonValue* const element = at(index);
  return element == nullptr ? kJsonAbsent : element->type();
}

int32_t JsonArray::GetStringAt(uint64_t index, runtime::StringObject* value) {
  JsonValue* const element = at(index);
  return element == nullptr ? kFail : element->GetString(value);
}

const char* JsonArray::GetStringPtrAt(uint64_t index) {
  JsonValue* const element = at(index);
  return element == nullptr ? nullptr : element->GetStringPtr();
}

int32_t JsonArray::GetIntegerAt(uint64_t index, int32_t* value) {
  JsonValue* const element = at(index);
  return element == nullptr ? kFail : element->GetInteger(value);
}

int32_t JsonArray::GetObjectAt(uint64_t index, IJsonObject** value) {
  return query(index, IID_IJsonObject, value);
}

int32_t JsonArray::GetArrayAt(uint64_t index, IJsonArray** value) {
  return query(index, IID_IJsonArray, value);
}

int32_t JsonArray::GetBoolAt(uint64_t index, uint32_t* value) {
  JsonValue* const element = at(index);
  return element == nullptr ? kFail : element->GetBool(value);
}

int32_t JsonArray::SetStringAt(uint64_t index, const char* text) {
  return text == nullptr ? kInvalidArgument
                         : placeNew<JsonString>(index, text, uint64_t{std::strlen(text)});
}

int32_t JsonArray::SetIntegerAt(uint64_t index, int32_t value) {
  return placeNew<JsonNumber>(index, value);
}

int32_t JsonArray::AddObjectAt(uint64_t index, IJsonObject** value) {
  return addNew<JsonObject>(index, value);
}

int32_t JsonArray::AddArrayAt(uint64_t index, IJsonArray** value) {
  return addNew<JsonArray>(index, value);
}

int32_t JsonArray::SetBoolAt(uint64_t index, uint8_t value) {
  return placeNew<JsonBool>(index, value != 0);
}

int32_t JsonArray::SetNullAt(uint64_t index) { return placeNew<JsonNull>(index); }

int32_t JsonArray::place(uint64_t index, base::ComPtr<JsonValue> value) {
  const uint64_t target = index == kJsonAtEnd ? count() : index;
  if (target > count()) {
    return kFail;
  }
  if (target < count()) {
    replace(target, value.release());
    return kOk;
  }
  const int32_t result = append(value.get());
  if (succeeded(result)) {
    value.release();
  }
  return result;
}

template <class Kind, class... Arguments>
int32_t JsonArray::placeNew(uint64_t index, Arguments... arguments) {
  base::ComPtr<JsonValue> value;
  const int32_t result = createValue<Kind>(value, arguments...);
  return failed(result) ? result : place(index, std::move(value));
}

template <class Kind, class Interface>
int32_t JsonArray::addNew(uint64_t index, Interface** value) {
  if (value == nullptr) {
    return kNullPointer;
  }
  *value = nullptr;
  base::ComPtr<Kind> made;
  int32_t result = createValue(made);
  if (failed(result)) {
    return result;
  }
  auto forCaller = base::ComPtr<Kind>::share(made.get());
  if (result = place(index, base::ComPtr<JsonValue>(made.release())); succeeded(result)) {
    *value = forCaller.release();
  }
  return result;
}

template <class Interface>
int32_t JsonArray::query(uint64_t index, const Guid& id, Interface** value) const {
  if (value == nullptr) {
    return kNullPointer;
  }
  *value = nullptr;
  JsonValue* const element = at(index);
  return element == nullptr ? kFail : element->QueryInterface(&id, reinterpret_cast<void**>(value));
}

}  // namespace vexa::json
