#pragma once

#include <cstdint>
#include <string_view>

#include "base/com_object.h"
#include "json/value_name.h"
#include "json/value_pool.h"
#include "vexa/json.h"
#include "vexa/runtime/object.h"
#include "vexa/runtime/records.h"
#include "vexa/component.h"

namespace vexa::json {

// One value of a JSON tree; by itself, what all kinds share. One thread at a time per tree; only
// the reference count is interlocked. Made by CComObject<...>::Create, or by a parser in its pool.
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
  // Slot 11. Appends the value as text to a stream of SEC_IO_1. The stream's failures;
  // kNotImplemented for a value of no kind.
  virtual int32_t Write(runtime::Stream* stream);
  // Slot 12. Replaces what the value holds. The argument's type depends on the kind, and takes as
  // much of the word as it needs:
  //   JsonNumber  int32_t
  //   JsonString  const runtime::ByteBuffer*, whose bytes are copied
  //   JsonBool    uint8_t, where every value but 0 is true
  // kFail: the kind holds nothing. kInvalidArgument: null record. kOutOfMemory: nothing changed.
  virtual int32_t SetValue(uintptr_t value);

  uint32_t type() const { return type_; }
  // The name without a string object; a zero byte stands behind it.
  std::string_view name() const { return name_.view(hasBorrowedName_); }
  // Drops a reference without the end of the value; true when it was the last one.
  bool dropReference() { return dropCount(); }
  // Ends the value, which nobody refers to any more.
  void destroy(ValueMemory& memory) {
    ValuePool* const pool = pool_;
    memory.free(pool, pool != nullptr && isTrivial() ? this : DeletingDestructor(0));
  }

  // Where a value's memory goes back to: see CComObject.
  struct Memory {
    ValuePool* pool;
    void free(void* block) const;
  };
  Memory memory() const { return {pool_}; }
  // Puts a value into being in a pool, with one reference; null when memory is short.
  template <class Kind>
  static Kind* createIn(ValuePool& pool);
  // For the pool's parser: a name that stands in the pool's text.
  void borrowName(std::string_view name) {
    name_.borrow(name);
    hasBorrowedName_ = true;
  }

 protected:
  explicit JsonValue(JsonType type = kJsonAbsent) : type_(static_cast<uint8_t>(type)) {}
  ~JsonValue();

  // True when the end of the value would do nothing.
  bool isTrivial() const { return hasBorrowedName_ && !hasOwnData_; }

  // For the kinds: what they hold is not the pool's.
  bool hasOwnData() const { return hasOwnData_; }
  void setOwnData(bool isOwn) { hasOwnData_ = isOwn; }

 private:
  uint8_t type_;  // these three fill the word that begins with the reference count
  bool hasBorrowedName_ = false;
  bool hasOwnData_ = false;
  ValueName name_;
  ValuePool* pool_ = nullptr;  // null: the value has a block of its own
};

template <class Kind>
Kind* JsonValue::createIn(ValuePool& pool) {
  using Object = base::CComObject<Kind>;
  void* const memory = pool.takeValue(sizeof(Object));
  if (memory == nullptr) {
    return nullptr;
  }
  auto* const value = Object::Construct(memory);
  value->pool_ = &pool;
  value->borrowName({"", 0});
  value->startCount(1);
  return value;
}

class JsonNull : public JsonValue {
 public:
  int32_t Write(runtime::Stream* stream) override;

 protected:
  JsonNull() : JsonValue(kJsonNull) {}
};

class JsonNumber : public JsonValue {
 public:
  int32_t GetInteger(int32_t* value) override;
  int32_t Write(runtime::Stream* stream) override;
  int32_t SetValue(uintptr_t value) override;

  void set(int32_t value) { value_ = value; }

 protected:
  JsonNumber() : JsonValue(kJsonNumber) {}

 private:
  int32_t value_ = 0;
};

class JsonString : public JsonValue {
 public:
  int32_t GetString(runtime::StringObject* value) override;
  const char* GetStringPtr() override;
  int32_t Write(runtime::Stream* stream) override;
  int32_t SetValue(uintptr_t value) override;

  [[nodiscard]] int32_t set(const void* bytes, uint64_t length);
  // For the pool's parser: bytes with a zero byte behind them that stand in the pool's text.
  void borrow(char* bytes, uint64_t length);

 protected:
  JsonString() : JsonValue(kJsonString) {}
  ~JsonString();

 private:
  runtime::ByteBuffer value_{};
};

class JsonBool : public JsonValue {
 public:
  int32_t GetBool(uint32_t* value) override;
  int32_t Write(runtime::Stream* stream) override;
  int32_t SetValue(uintptr_t value) override;

  void set(bool value) { value_ = value ? 1 : 0; }

 protected:
  JsonBool() : JsonValue(kJsonBool) {}

 private:
  uint32_t value_ = 0;
};

}  // namespace vexa::json
