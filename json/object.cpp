#include "json/object.h"

#include "base/buffer.h"
#include "base/tables.h"
#include "json/array.h"
#include "json/serializer.h"

namespace vexa::json {
namespace {

using base::bound;

runtime::ByteBuffer recordOf(std::string_view bytes) {
  // The runtime only reads it.
  return {bytes.size(), reinterpret_cast<uint8_t*>(const_cast<char*>(bytes.data()))};
}

}  // namespace

const base::InterfaceMapRow* JsonObject::InterfaceMap() {
  static const base::InterfaceMapRow map[] = {
      base::mapRow<JsonObject, IJsonObject>(IID_IJsonObject), base::mapEnd()};
  return map;
}

int32_t JsonObject::ToText(runtime::ByteBuffer** text) {
  if (text == nullptr) {
    return kNullPointer;
  }
  return toText(*this, text);
}

int32_t JsonObject::GetKeyAt(uint64_t index, runtime::StringObject* key) {
  if (key == nullptr) {
    return kNullPointer;
  }
  const JsonValue* const member = at(index);
  if (member == nullptr || !bound.strings) {
    return kFail;
  }
  const std::string_view name = member->name();
  return bound.strings->AssignBytes(key, name.data(), name.size());
}

const char* JsonObject::GetKeyPtrAt(uint64_t index) {
  const JsonValue* const member = at(index);
  return member == nullptr ? nullptr : member->name().data();
}

uint32_t JsonObject::GetTypeOf(const char* key) {
  JsonValue* const member = find(key);
  return member == nullptr ? kJsonAbsent : member->type();
}

int32_t JsonObject::GetString(const char* key, runtime::StringObject* value) {
  JsonValue* const member = find(key);
  return member == nullptr ? kFail : member->GetString(value);
}

const char* JsonObject::GetStringPtr(const char* key) {
  JsonValue* const member = find(key);
  return member == nullptr ? nullptr : member->GetStringPtr();
}

int32_t JsonObject::GetInteger(const char* key, int32_t* value) {
  JsonValue* const member = find(key);
  return member == nullptr ? kFail : member->GetInteger(value);
}

int32_t JsonObject::GetObject(const char* key, IJsonObject** value) {
  return query(key, IID_IJsonObject, value);
}

int32_t JsonObject::GetArray(const char* key, IJsonArray** value) {
  return query(key, IID_IJsonArray, value);
}

int32_t JsonObject::GetBool(const char* key, uint32_t* value) {
  JsonValue* const member = find(key);
  return member == nullptr ? kFail : member->GetBool(value);
}

int32_t JsonObject::SetString(const char* key, const char* text) {
  if (key == nullptr) {
    return kFail;
  }
  if (text == nullptr) {
    return kInvalidArgument;
  }
  return storeNew<JsonString>(key, text, std::string_view(text).size());
}

int32_t JsonObject::SetInteger(const char* key, int32_t value) {
  return storeNew<JsonNumber>(key, value);
}

int32_t JsonObject::AddObject(const char* key, IJsonObject** value) {
  return addNew<JsonObject>(key, value);
}

int32_t JsonObject::AddArray(const char* key, IJsonArray** value) {
  return addNew<JsonArray>(key, value);
}

int32_t JsonObject::SetBool(const char* key, uint8_t value) {
  return storeNew<JsonBool>(key, value != 0);
}

int32_t JsonObject::SetNull(const char* key) { return storeNew<JsonNull>(key); }

uint64_t JsonObject::indexOf(std::string_view key) const {
  const runtime::ByteBuffer wanted = recordOf(key);
  for (uint64_t index = 0; index < count(); ++index) {
    const std::string_view name = at(index)->name();
    if (name.size() != key.size()) {
      continue;  // cannot be equal: saves the call
    }
    const runtime::ByteBuffer found = recordOf(name);
    if (bound.commonTypes && bound.commonTypes->BufferCompare(&wanted, &found) == 0) {
      return index;
    }
  }
  return kAbsent;
}

JsonValue* JsonObject::find(const char* key) const {
  return key == nullptr ? nullptr : at(indexOf(key));
}

int32_t JsonObject::store(const char* key, JsonValue* value) {
  if (key == nullptr) {
    return kFail;
  }
  const runtime::ByteBuffer name = recordOf(key);
  int32_t result = value->SetName(&name);
  if (failed(result)) {
    return result;
  }
  auto reference = base::ComPtr<JsonValue>::share(value);
  if (const uint64_t index = indexOf(key); index != kAbsent) {
    replace(index, reference.release());
    return kOk;
  }
  if (result = append(value); succeeded(result)) {
    reference.release();
  }
  return result;
}

template <class Kind, class... Arguments>
int32_t JsonObject::storeNew(const char* key, Arguments... arguments) {
  base::ComPtr<JsonValue> value;
  const int32_t result = createValue<Kind>(value, arguments...);
  return failed(result) ? result : store(key, value.get());
}

template <class Kind, class Interface>
int32_t JsonObject::addNew(const char* key, Interface** value) {
  if (value == nullptr) {
    return kNullPointer;
  }
  *value = nullptr;
  base::ComPtr<Kind> made;
  int32_t result = createValue(made);
  if (failed(result)) {
    return result;
  }
  if (result = store(key, made.get()); succeeded(result)) {
    *value = made.release();
  }
  return result;
}

template <class Interface>
int32_t JsonObject::query(const char* key, const Guid& id, Interface** value) const {
  if (value == nullptr) {
    return kNullPointer;
  }
  *value = nullptr;
  JsonValue* const member = find(key);
  return member == nullptr ? kFail : member->QueryInterface(&id, reinterpret_cast<void**>(value));
}

}  // namespace vexa::json
