#include "json/values.h"

#include <cstring>

#include "base/heap.h"
#include "base/tables.h"
#include "json/serializer.h"

namespace vexa::json {

const base::InterfaceMapRow* JsonValue::InterfaceMap() {
  static const base::InterfaceMapRow map[] = {base::mapEnd()};
  return map;
}

JsonValue::~JsonValue() {
  if (!hasBorrowedName_) {
    name_.clear();
  }
}

int32_t JsonValue::SetName(const runtime::ByteBuffer* name) {
  if (name == nullptr) {
    return kInvalidArgument;
  }
  const int32_t result = name_.assign(hasBorrowedName_, name->data, name->length);
  if (succeeded(result)) {
    hasBorrowedName_ = false;
  }
  return result;
}

const runtime::StringObject* JsonValue::GetName() {
  if (hasBorrowedName_) {
    if (failed(name_.own())) {
      return nullptr;
    }
    hasBorrowedName_ = false;
  }
  return name_.object();
}

uint32_t JsonValue::GetType() { return type_; }
int32_t JsonValue::GetInteger(int32_t* /*value*/) { return kFail; }
int32_t JsonValue::GetString(runtime::StringObject* /*value*/) { return kFail; }
const char* JsonValue::GetStringPtr() { return nullptr; }
int32_t JsonValue::GetBool(uint32_t* /*value*/) { return kFail; }
int32_t JsonValue::Write(runtime::Stream* /*stream*/) { return kNotImplemented; }
int32_t JsonValue::SetValue(uintptr_t /*value*/) { return kFail; }

void JsonValue::Memory::free(void* block) const {
  if (pool != nullptr) {
    pool->release(1);
  } else {
    base::processFree(block);
  }
}

int32_t JsonNull::Write(runtime::Stream* stream) { return writePiece(stream, "null"); }

int32_t JsonNumber::GetInteger(int32_t* value) {
  if (value == nullptr) {
    return kNullPointer;
  }
  *value = value_;
  return kOk;
}

int32_t JsonNumber::Write(runtime::Stream* stream) { return writeInteger(stream, value_); }

int32_t JsonNumber::SetValue(uintptr_t value) {
  set(static_cast<int32_t>(value));
  return kOk;
}

JsonString::~JsonString() {
  if (hasOwnData()) {
    base::freeBlock(value_.data);
  }
}

int32_t JsonString::GetString(runtime::StringObject* value) {
  if (value == nullptr) {
    return kNullPointer;
  }
  if (!base::bound.strings) {
    return kFail;
  }
  return base::bound.strings->AssignBytes(value, value_.data, value_.length);
}

const char* JsonString::GetStringPtr() { return reinterpret_cast<const char*>(value_.data); }

int32_t JsonString::Write(runtime::Stream* stream) {
  return writeEscaped(stream, {reinterpret_cast<const char*>(value_.data), value_.length});
}

int32_t JsonString::SetValue(uintptr_t value) {
  const auto* const record = reinterpret_cast<const runtime::ByteBuffer*>(value);
  return record == nullptr ? kInvalidArgument : set(record->data, record->length);
}

int32_t JsonString::set(const void* bytes, uint64_t length) {
  auto* const copy =
      length == ~uint64_t{0} ? nullptr : static_cast<uint8_t*>(base::allocate(length + 1));
  if (copy == nullptr) {
    return kOutOfMemory;
  }
  if (length != 0) {
    std::memcpy(copy, bytes, length);
  }
  copy[length] = 0;
  if (hasOwnData()) {
    base::freeBlock(value_.data);
  }
  value_ = {length, copy};
  setOwnData(true);
  return kOk;
}

void JsonString::borrow(char* bytes, uint64_t length) {
  value_ = {length, reinterpret_cast<uint8_t*>(bytes)};
}

int32_t JsonBool::GetBool(uint32_t* value) {
  if (value == nullptr) {
    return kNullPointer;
  }
  *value = value_;
  return kOk;
}

int32_t JsonBool::Write(runtime::Stream* stream) {
  return writePiece(stream, value_ != 0 ? "true" : "false");
}

int32_t JsonBool::SetValue(uintptr_t value) {
  set(static_cast<uint8_t>(value) != 0);
  return kOk;
}

}  // namespace vexa::json
