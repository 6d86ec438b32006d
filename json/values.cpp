#include "json/values.h"

#include <cstring>
#include <utility>

#include "base/heap.h"
#include "base/tables.h"

namespace vexa::json {
namespace {

const base::InterfaceMapRow kMap[] = {base::mapEnd()};

}  // namespace

using base::ComPtr;

int32_t integerOf(const Item& item, int32_t* value) {
  if (item.type() != kJsonNumber) {
    return kFail;
  }
  if (value == nullptr) {
    return kNullPointer;
  }
  *value = item.number();
  return kOk;
}

int32_t stringOf(const Item& item, runtime::StringObject* value) {
  if (item.type() != kJsonString) {
    return kFail;
  }
  if (value == nullptr) {
    return kNullPointer;
  }
  return base::bound.strings->AssignBytes(value, item.text().data(), item.text().size());
}

const char* stringPtrOf(const Item& item) {
  return item.type() == kJsonString ? item.text().data() : nullptr;
}

int32_t truthOf(const Item& item, uint32_t* value) {
  if (item.type() != kJsonBool) {
    return kFail;
  }
  if (value == nullptr) {
    return kNullPointer;
  }
  *value = static_cast<uint32_t>(item.number());
  return kOk;
}

const base::InterfaceMapRow* JsonValue::InterfaceMap() { return kMap; }

JsonValue::~JsonValue() {
  if (!hasBorrowedName_) {
    name_.clear();
  }
}

void JsonValue::borrow(ValuePool& pool, std::string_view name, const Item& content) {
  pool_ = ValuePoolRef::share(&pool);
  name_.borrow(name);
  hasBorrowedName_ = true;
  content_ = content;
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

uint32_t JsonValue::GetType() { return type(); }
int32_t JsonValue::GetInteger(int32_t* value) { return integerOf(content_, value); }
int32_t JsonValue::GetString(runtime::StringObject* value) { return stringOf(content_, value); }
const char* JsonValue::GetStringPtr() { return stringPtrOf(content_); }
int32_t JsonValue::GetBool(uint32_t* value) { return truthOf(content_, value); }
int32_t JsonValue::SetValue(uintptr_t /*value*/) { return kFail; }

int32_t JsonNumber::SetValue(uintptr_t value) {
  set(static_cast<int32_t>(value));
  return kOk;
}

int32_t JsonString::SetValue(uintptr_t value) {
  const auto* const record = reinterpret_cast<const runtime::ByteBuffer*>(value);
  return record == nullptr ? kInvalidArgument : set(record->data, record->length);
}

int32_t JsonString::set(const void* bytes, uint64_t length) {
  auto copy = length > Item::kLongest ? base::Text() : base::Text::ofBytes(length + 1);
  if (!copy) {
    return kOutOfMemory;
  }
  if (length != 0) {
    std::memcpy(copy.get(), bytes, length);
  }
  copy[length] = '\0';
  ownText_ = std::move(copy);
  setContent(Item::string(ownText_.get(), length));
  return kOk;
}

int32_t JsonBool::SetValue(uintptr_t value) {
  set(static_cast<uint8_t>(value) != 0);
  return kOk;
}

namespace {

template <class Kind>
ComPtr<Kind> make() {
  ComPtr<Kind> made;
  (void)createValue(made);  // empty is the answer
  return made;
}

}  // namespace

ComPtr<JsonValue> makeNull() { return ComPtr<JsonValue>(make<JsonNull>().release()); }

ComPtr<JsonValue> makeNumber(int32_t value) {
  auto made = make<JsonNumber>();
  if (made) {
    made->set(value);
  }
  return ComPtr<JsonValue>(made.release());
}

ComPtr<JsonValue> makeString(std::string_view text) {
  auto made = make<JsonString>();
  if (made && failed(made->set(text.data(), text.size()))) {
    made.reset();
  }
  return ComPtr<JsonValue>(made.release());
}

ComPtr<JsonValue> makeBool(bool value) {
  auto made = make<JsonBool>();
  if (made) {
    made->set(value);
  }
  return ComPtr<JsonValue>(made.release());
}

}  // namespace vexa::json
