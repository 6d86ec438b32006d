#include <utility>

#include "base/holders.h"
#include "base/tables.h"
#include "json/collections.h"

namespace vexa::json {
namespace {

using base::bound;
using base::ComPtr;

constexpr uint64_t kAbsent = ~uint64_t{0};

runtime::ByteBuffer recordOf(std::string_view bytes) {
  // The runtime only reads it.
  return {bytes.size(), reinterpret_cast<uint8_t*>(const_cast<char*>(bytes.data()))};
}

// Names of one length are equal when the runtime says so.
bool areEqual(const runtime::ByteBuffer& wanted, std::string_view name) {
  const runtime::ByteBuffer found = recordOf(name);
  return bound.commonTypes->BufferCompare(&wanted, &found) == 0;
}

const base::InterfaceMapRow kMap[] = {base::mapRow<JsonObject, IJsonObject>(IID_IJsonObject),
                                      base::mapEnd()};

}  // namespace

const base::InterfaceMapRow* JsonObject::InterfaceMap() { return kMap; }

int32_t JsonObject::ToText(runtime::ByteBuffer** text) {
  if (text == nullptr) {
    return kNullPointer;
  }
  *text = nullptr;
  base::RuntimeRef<runtime::Stream> stream;
  int32_t result = bound.io->CreateMemoryStream(stream.put());
  if (failed(result)) {
    return result;
  }
  if (result = Write(stream.get()); succeeded(result)) {
    result = bound.io->GetContent(stream.get(), text);
  }
  return result;
}

int32_t JsonObject::GetKeyAt(uint64_t index, runtime::StringObject* key) {
  if (key == nullptr) {
    return kNullPointer;
  }
  if (index >= count()) {
    return kFail;
  }
  const std::string_view name = keyOf(content(), index);
  return bound.strings->AssignBytes(key, name.data(), name.size());
}

const char* JsonObject::GetKeyPtrAt(uint64_t index) {
  return index < count() ? keyOf(content(), index).data() : nullptr;
}

uint32_t JsonObject::GetTypeOf(const char* key) { return contentOf(key).type(); }

int32_t JsonObject::GetString(const char* key, runtime::StringObject* value) {
  return stringOf(contentOf(key), value);
}

const char* JsonObject::GetStringPtr(const char* key) { return stringPtrOf(contentOf(key)); }

int32_t JsonObject::GetInteger(const char* key, int32_t* value) {
  return integerOf(contentOf(key), value);
}

int32_t JsonObject::GetObject(const char* key, IJsonObject** value) {
  return value == nullptr ? kNullPointer
                          : query(indexOf(key), IID_IJsonObject, reinterpret_cast<void**>(value));
}

int32_t JsonObject::GetArray(const char* key, IJsonArray** value) {
  return value == nullptr ? kNullPointer
                          : query(indexOf(key), IID_IJsonArray, reinterpret_cast<void**>(value));
}

int32_t JsonObject::GetBool(const char* key, uint32_t* value) {
  return truthOf(contentOf(key), value);
}

int32_t JsonObject::SetString(const char* key, const char* text) {
  if (key == nullptr) {
    return kFail;
  }
  return text == nullptr ? kInvalidArgument : store(key, makeString(text));
}

int32_t JsonObject::SetInteger(const char* key, int32_t value) {
  return store(key, makeNumber(value));
}

int32_t JsonObject::AddObject(const char* key, IJsonObject** value) {
  return addNew<JsonObject>(value,
                            [&](ComPtr<JsonValue> made) { return store(key, std::move(made)); });
}

int32_t JsonObject::AddArray(const char* key, IJsonArray** value) {
  return addNew<JsonArray>(value,
                           [&](ComPtr<JsonValue> made) { return store(key, std::move(made)); });
}

int32_t JsonObject::SetBool(const char* key, uint8_t value) {
  return store(key, makeBool(value != 0));
}

int32_t JsonObject::SetNull(const char* key) { return store(key, makeNull()); }

uint64_t JsonObject::indexOf(std::string_view key) const {
  const Item object = content();
  const runtime::ByteBuffer wanted = recordOf(key);
  for (uint64_t index = 0; index < object.length(); ++index) {
    const std::string_view name = keyOf(object, index);
    if (name.size() == key.size() && areEqual(wanted, name)) {
      return index;
    }
  }
  return kAbsent;
}

Item JsonObject::contentOf(const char* key) const {
  return key == nullptr || hasValues() ? contentAt(indexOf(key)) : unchangedContentOf(key);
}

// While nobody holds a value, names and values stand side by side.
Item JsonObject::unchangedContentOf(std::string_view key) const {
  const Item wanted = Item::string(key.data(), key.size());
  const runtime::ByteBuffer record = recordOf(key);
  const Item* const end = content().items() + 2 * count();
  for (const Item* name = content().items(); name != end; name += 2) {
    if (name->isAsLongAs(wanted) && areEqual(record, name->text())) {
      return name[1];
    }
  }
  return Item::absent();
}

uint64_t JsonObject::indexOf(const char* key) const {
  return key == nullptr ? kAbsent : indexOf(std::string_view(key));
}

int32_t JsonObject::store(const char* key, ComPtr<JsonValue> value) {
  if (key == nullptr) {
    return kFail;
  }
  if (!value) {
    return kOutOfMemory;
  }
  const runtime::ByteBuffer name = recordOf(key);
  if (const int32_t result = value->SetName(&name); failed(result)) {
    return result;
  }
  if (const uint64_t index = indexOf(key); index != kAbsent) {
    replace(index, std::move(value));
    return kOk;
  }
  return append(std::move(value));
}

}  // namespace vexa::json
