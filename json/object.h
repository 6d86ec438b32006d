#pragma once

#include <string_view>

#include "json/collection.h"

namespace vexa::json {

// See IJsonObject. The interface lies behind the value in the object.
class JsonObject : public JsonCollection, public IJsonObject {
 public:
  static const base::InterfaceMapRow* InterfaceMap();

  // Both tables begin with these three; one name for both.
  int32_t QueryInterface(const Guid* id, void** out) override = 0;
  uint32_t AddRef() override = 0;
  uint32_t Release() override = 0;

  using JsonCollection::GetBool;
  using JsonCollection::GetInteger;
  using JsonCollection::GetString;
  using JsonCollection::GetStringPtr;

  uint32_t GetType() override { return type(); }
  int32_t ToText(runtime::ByteBuffer** text) override;
  uint64_t GetCount() override { return count(); }
  int32_t GetKeyAt(uint64_t index, runtime::StringObject* key) override;
  const char* GetKeyPtrAt(uint64_t index) override;
  uint32_t GetTypeOf(const char* key) override;
  int32_t GetString(const char* key, runtime::StringObject* value) override;
  const char* GetStringPtr(const char* key) override;
  int32_t GetInteger(const char* key, int32_t* value) override;
  int32_t GetObject(const char* key, IJsonObject** value) override;
  int32_t GetArray(const char* key, IJsonArray** value) override;
  int32_t GetBool(const char* key, uint32_t* value) override;
  int32_t SetString(const char* key, const char* text) override;
  int32_t SetInteger(const char* key, int32_t value) override;
  int32_t AddObject(const char* key, IJsonObject** value) override;
  int32_t AddArray(const char* key, IJsonArray** value) override;
  int32_t SetBool(const char* key, uint8_t value) override;
  int32_t SetNull(const char* key) override;

 protected:
  JsonObject() : JsonCollection(kJsonObject) {}

 private:
  static constexpr uint64_t kAbsent = ~uint64_t{0};

  uint64_t indexOf(std::string_view key) const;
  JsonValue* find(const char* key) const;  // null when absent
  // Adds a reference of its own.
  int32_t store(const char* key, JsonValue* value);
  template <class Kind, class... Arguments>
  int32_t storeNew(const char* key, Arguments... arguments);
  template <class Kind, class Interface>
  int32_t addNew(const char* key, Interface** value);
  template <class Interface>
  int32_t query(const char* key, const Guid& id, Interface** value) const;
};

}  // namespace vexa::json
