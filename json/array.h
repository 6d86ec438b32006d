#pragma once

#include "json/collection.h"

namespace vexa::json {

// See IJsonArray. The interface lies behind the value in the object.
class JsonArray : public JsonCollection, public IJsonArray {
 public:
  static const base::InterfaceMapRow* InterfaceMap();

  // Both tables begin with these three; one name for both.
  int32_t QueryInterface(const Guid* id, void** out) override = 0;
  uint32_t AddRef() override = 0;
  uint32_t Release() override = 0;

  uint32_t GetType() override { return type(); }
  uint64_t GetCount() override { return count(); }
  uint32_t GetTypeAt(uint64_t index) override;
  int32_t GetStringAt(uint64_t index, runtime::StringObject* value) override;
  const char* GetStringPtrAt(uint64_t index) override;
  int32_t GetIntegerAt(uint64_t index, int32_t* value) override;
  int32_t GetObjectAt(uint64_t index, IJsonObject** value) override;
  int32_t GetArrayAt(uint64_t index, IJsonArray** value) override;
  int32_t GetBoolAt(uint64_t index, uint32_t* value) override;
  int32_t SetStringAt(uint64_t index, const char* text) override;
  int32_t SetIntegerAt(uint64_t index, int32_t value) override;
  int32_t AddObjectAt(uint64_t index, IJsonObject** value) override;
  int32_t AddArrayAt(uint64_t index, IJsonArray** value) override;
  int32_t SetBoolAt(uint64_t index, uint8_t value) override;
  int32_t SetNullAt(uint64_t index) override;

 protected:
  JsonArray() : JsonCollection(kJsonArray) {}

 private:
  // Keeps the reference that it is given; on failure that reference is dropped.
  int32_t place(uint64_t index, base::ComPtr<JsonValue> value);
  template <class Kind, class... Arguments>
  int32_t placeNew(uint64_t index, Arguments... arguments);
  template <class Kind, class Interface>
  int32_t addNew(uint64_t index, Interface** value);
  template <class Interface>
  int32_t query(uint64_t index, const Guid& id, Interface** value) const;
};

}  // namespace vexa::json
