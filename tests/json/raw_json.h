#pragma once

#include <string>
#include <string_view>

#include "support/module_fixture.h"
#include "support/raw_reference.h"
#include "vexa/host.h"
#include "vexa/json.h"

namespace vexa::test {

using StringOut = runtime::StringObject*;

// IJsonObject by the numbers of its slots.
class RawObject : public RawReference {
 public:
  using RawReference::RawReference;

  uint32_t getType() const { return call<uint32_t>(get(), 3); }
  int32_t toText(runtime::ByteBuffer** text) const { return call<int32_t>(get(), 4, text); }
  uint64_t getCount() const { return call<uint64_t>(get(), 5); }
  int32_t getKeyAt(uint64_t index, StringOut key) const {
    return call<int32_t>(get(), 6, index, key);
  }
  const char* getKeyPtrAt(uint64_t index) const { return call<const char*>(get(), 7, index); }
  uint32_t getTypeOf(const char* key) const { return call<uint32_t>(get(), 8, key); }
  int32_t getString(const char* key, StringOut value) const {
    return call<int32_t>(get(), 9, key, value);
  }
  const char* getStringPtr(const char* key) const { return call<const char*>(get(), 10, key); }
  int32_t getInteger(const char* key, int32_t* value) const {
    return call<int32_t>(get(), 11, key, value);
  }
  int32_t getObject(const char* key, void** value) const {
    return call<int32_t>(get(), 12, key, value);
  }
  int32_t getArray(const char* key, void** value) const {
    return call<int32_t>(get(), 13, key, value);
  }
  int32_t getBool(const char* key, uint32_t* value) const {
    return call<int32_t>(get(), 14, key, value);
  }
  int32_t setString(const char* key, const char* text) const {
    return call<int32_t>(get(), 15, key, text);
  }
  int32_t setInteger(const char* key, int32_t value) const {
    return call<int32_t>(get(), 16, key, value);
  }
  int32_t addObject(const char* key, void** value) const {
    return call<int32_t>(get(), 17, key, value);
  }
  int32_t addArray(const char* key, void** value) const {
    return call<int32_t>(get(), 18, key, value);
  }
  int32_t setBool(const char* key, uint8_t value) const {
    return call<int32_t>(get(), 19, key, value);
  }
  int32_t setNull(const char* key) const { return call<int32_t>(get(), 20, key); }
};

// IJsonArray by the numbers of its slots.
class RawArray : public RawReference {
 public:
  using RawReference::RawReference;

  uint32_t getType() const { return call<uint32_t>(get(), 3); }
  uint64_t getCount() const { return call<uint64_t>(get(), 4); }
  uint32_t getTypeAt(uint64_t index) const { return call<uint32_t>(get(), 5, index); }
  int32_t getStringAt(uint64_t index, StringOut value) const {
    return call<int32_t>(get(), 6, index, value);
  }
  const char* getStringPtrAt(uint64_t index) const { return call<const char*>(get(), 7, index); }
  int32_t getIntegerAt(uint64_t index, int32_t* value) const {
    return call<int32_t>(get(), 8, index, value);
  }
  int32_t getObjectAt(uint64_t index, void** value) const {
    return call<int32_t>(get(), 9, index, value);
  }
  int32_t getArrayAt(uint64_t index, void** value) const {
    return call<int32_t>(get(), 10, index, value);
  }
  int32_t getBoolAt(uint64_t index, uint32_t* value) const {
    return call<int32_t>(get(), 11, index, value);
  }
  int32_t setStringAt(uint64_t index, const char* text) const {
    return call<int32_t>(get(), 12, index, text);
  }
  int32_t setIntegerAt(uint64_t index, int32_t value) const {
    return call<int32_t>(get(), 13, index, value);
  }
  int32_t addObjectAt(uint64_t index, void** value) const {
    return call<int32_t>(get(), 14, index, value);
  }
  int32_t addArrayAt(uint64_t index, void** value) const {
    return call<int32_t>(get(), 15, index, value);
  }
  int32_t setBoolAt(uint64_t index, uint8_t value) const {
    return call<int32_t>(get(), 16, index, value);
  }
  int32_t setNullAt(uint64_t index) const { return call<int32_t>(get(), 17, index); }
};

// A string object as a caller holds it.
class StringHolder : public vexa::String {
 public:
  StringHolder() : String(SpyRuntime::current().strings) {}

  std::string bytes() const { return std::string(view()); }
};

}  // namespace vexa::test
