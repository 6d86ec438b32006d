#pragma once

#include <cstdint>
#include <string_view>

#include "base/root_vector.h"
#include "json/values.h"

namespace vexa::json {

// What objects and arrays share: a vector of items.
class JsonCollection : public JsonValue {
 public:
  int32_t Write(runtime::Stream* stream) override;

  // Elements or members.
  uint64_t count() const { return content().length(); }
  // The element, or the member's value, as an object of the component model, which stays the
  // collection's. Null when there is none, or memory is short.
  JsonValue* valueAt(uint64_t index);

 protected:
  explicit JsonCollection(JsonType type) : JsonValue(Item::collection(type, nullptr, 0)) {}
  ~JsonCollection() { releaseElements(); }

  // Some elements are objects; else they are all items, which stand side by side.
  bool hasValues() const { return hasValues_; }
  // What the element or member's value holds; an absent item when there is none.
  Item contentAt(uint64_t index) const {
    return index < count() ? contentOf(elementOf(content(), index)) : Item::absent();
  }
  // Adds the value behind the last one, or puts it in the place of another, which is released.
  // Takes over the reference. kOutOfMemory: nothing changed.
  [[nodiscard]] int32_t append(base::ComPtr<JsonValue> value);
  void replace(uint64_t index, base::ComPtr<JsonValue> value);
  // A new value, which `put` takes over with its result. *out: another reference to it.
  template <class Kind, class Interface, class Put>
  static int32_t addNew(Interface** out, Put put) {
    if (out == nullptr) {
      return kNullPointer;
    }
    *out = nullptr;
    base::ComPtr<Kind> made;
    int32_t result = createValue(made);
    if (failed(result)) {
      return result;
    }
    auto forCaller = base::ComPtr<Kind>::share(made.get());
    if (result = put(base::ComPtr<JsonValue>(made.release())); succeeded(result)) {
      *out = forCaller.release();
    }
    return result;
  }
  // An interface of the element, or of the member's value. kFail: there is none. kOutOfMemory.
  int32_t query(uint64_t index, const Guid& id, void** value);

 private:
  void put(uint64_t index, JsonValue* value);
  void releaseElements();
  // Releases the elements. Collections that nobody refers to any more are put before `dying`, with
  // their elements still to be released; other values end.
  void dropElements(JsonCollection*& dying);

  bool hasValues_ = false;
  base::RootVector<Entry> entries_;  // once elements were added; the content refers to them
  JsonCollection* nextDying_ = nullptr;
};

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
  uint64_t indexOf(std::string_view key) const;  // all ones when absent
  uint64_t indexOf(const char* key) const;       // the same; a null key is absent
  Item contentOf(const char* key) const;
  Item unchangedContentOf(std::string_view key) const;
  // Takes over the reference. kOutOfMemory for an empty pointer.
  int32_t store(const char* key, base::ComPtr<JsonValue> value);
};

// See IJsonArray. The interface lies behind the value in the object.
class JsonArray : public JsonCollection, public IJsonArray {
 public:
  static const base::InterfaceMapRow* InterfaceMap();

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
  // Takes over the reference. kOutOfMemory for an empty pointer.
  int32_t place(uint64_t index, base::ComPtr<JsonValue> value);
};

}  // namespace vexa::json
