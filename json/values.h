#pragma once

#include <cstdint>
#include <string_view>

#include "base/com_object.h"
#include "json/item.h"
#include "json/value_name.h"
#include "json/value_pool.h"
#include "vexa/component.h"
#include "vexa/json.h"
#include "vexa/runtime/object.h"
#include "vexa/runtime/records.h"

namespace vexa::json {

// What an item holds, as slots 7 to 10 of a value give it. The item does not refer to an object.
int32_t integerOf(const Item& item, int32_t* value);
int32_t stringOf(const Item& item, runtime::StringObject* value);
const char* stringPtrOf(const Item& item);
int32_t truthOf(const Item& item, uint32_t* value);

// One value of a JSON tree as an object of the component model; by itself, what all kinds share.
// One thread at a time per tree; only the reference count is interlocked.
class JsonValue : public IComponent, public base::CComObjectRoot {
 public:
  static const base::InterfaceMapRow* InterfaceMap();

  // Slot 3. Destroys the value; bit 0 of `flags` frees its memory too. Only Release calls it.
  virtual void* DeletingDestructor(uint32_t flags) = 0;
  // Slot 4. Copies the bytes. kInvalidArgument: null. kOutOfMemory: the name stays.
  virtual int32_t SetName(const runtime::ByteBuffer* name);
  // Slot 5. The key while the value is a member of an object, else empty. Belongs to the value.
  // Null when memory is short.
  virtual const runtime::StringObject* GetName();
  // Slot 6. A JsonType.
  virtual uint32_t GetType();
  // Slots 7 to 10. What the value holds, if it is of that kind; else kFail, or null. The outs are
  // written on success only. kNullPointer: null out.
  virtual int32_t GetInteger(int32_t* value);
  virtual int32_t GetString(runtime::StringObject* value);
  virtual const char* GetStringPtr();  // zero-terminated, belongs to the value
  virtual int32_t GetBool(uint32_t* value);
  // Slot 11. Appends the value as text to a stream of SEC_IO_1; IJsonObject::ToText has the layout.
  // The stream's first failure. kNotImplemented: a value of no kind; kFail: a collection of no
  // kind. kOutOfMemory: nested too deep for the memory there is.
  virtual int32_t Write(runtime::Stream* stream);
  // Slot 12. Replaces what the value holds. The argument's type depends on the kind, and takes as
  // much of the word as it needs:
  //   JsonNumber  int32_t
  //   JsonString  const runtime::ByteBuffer*, whose bytes are copied
  //   JsonBool    uint8_t, where every value but 0 is true
  // kFail: the kind holds nothing. kInvalidArgument: null record. kOutOfMemory: nothing changed.
  virtual int32_t SetValue(uintptr_t value);

  uint32_t type() const { return content_.type(); }
  // What the value holds, as an item that does not refer to an object.
  const Item& content() const { return content_; }
  // The name without a string object; a zero byte stands behind it.
  std::string_view name() const { return name_.view(hasBorrowedName_); }
  // Drops a reference without the end of the value; true when it was the last one.
  bool dropReference() { return dropCount(); }

  // For a new value: takes over the content of an item, which stands in the pool like the name.
  void borrow(ValuePool& pool, std::string_view name, const Item& content);

 protected:
  explicit JsonValue(const Item& content = Item::absent()) : content_(content) {}
  ~JsonValue();

  // For the kinds.
  void setContent(const Item& content) { content_ = content; }
  ValuePool* pool() const { return pool_.get(); }

 private:
  bool hasBorrowedName_ = false;  // in the word of the reference count
  Item content_;
  ValueName name_;
  ValuePoolRef pool_;  // empty for a value that did not come out of a text
};

// The element of a collection, or the value of its member. There is one with this index.
template <uint32_t kType>
Item elementOf(const Item& collection, uint64_t index) {
  if (!collection.hasEntries()) {
    constexpr uint64_t kEach = itemsEach(kType);
    return collection.items()[index * kEach + kEach - 1];
  }
  const Entry entry = collection.entries()[index];
  return entry.isValue() ? Item::value(entry.value()->type(), entry.value()) : *entry.item();
}
inline Item elementOf(const Item& collection, uint64_t index) {
  return collection.type() == kJsonObject ? elementOf<kJsonObject>(collection, index)
                                          : elementOf<kJsonArray>(collection, index);
}

// What an item holds, be it the item itself or the object that it refers to.
inline Item contentOf(const Item& item) { return item.isValue() ? item.value()->content() : item; }

// The key of a member; a zero byte stands behind it.
inline std::string_view keyOf(const Item& object, uint64_t index) {
  const Item* value = nullptr;
  if (!object.hasEntries()) {
    value = &object.items()[2 * index + 1];
  } else if (const Entry entry = object.entries()[index]; entry.isValue()) {
    return entry.value()->name();
  } else {
    value = entry.item();
  }
  return value->isValue() ? value->value()->name() : value[-1].text();
}

// A new value with one reference. kOutOfMemory.
template <class Kind>
[[nodiscard]] int32_t createValue(base::ComPtr<Kind>& out) {
  base::ComPtr<base::CComObject<Kind>> made;
  const int32_t result = base::createObject(made);
  out.reset(made.release());
  return result;
}

class JsonNull : public JsonValue {
 protected:
  JsonNull() : JsonValue(Item::null()) {}
};

class JsonNumber : public JsonValue {
 public:
  int32_t SetValue(uintptr_t value) override;

  void set(int32_t value) { setContent(Item::number(value)); }

 protected:
  JsonNumber() : JsonValue(Item::number(0)) {}
};

class JsonString : public JsonValue {
 public:
  int32_t SetValue(uintptr_t value) override;

  // Copies the bytes. kOutOfMemory: nothing changed.
  [[nodiscard]] int32_t set(const void* bytes, uint64_t length);

 protected:
  JsonString() : JsonValue(Item::string(nullptr, 0)) {}

 private:
  base::Text ownText_;  // empty for a text that stands in the pool
};

class JsonBool : public JsonValue {
 public:
  int32_t SetValue(uintptr_t value) override;

  void set(bool value) { setContent(Item::boolean(value)); }

 protected:
  JsonBool() : JsonValue(Item::boolean(false)) {}
};

// New values that hold something. Empty when memory is short.
base::ComPtr<JsonValue> makeNull();
base::ComPtr<JsonValue> makeNumber(int32_t value);
base::ComPtr<JsonValue> makeString(std::string_view text);
base::ComPtr<JsonValue> makeBool(bool value);

}  // namespace vexa::json
