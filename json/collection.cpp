#include <utility>

#include "json/collections.h"

namespace vexa::json {
namespace {

using base::ComPtr;

template <class Kind>
JsonValue* makeKind() {
  ComPtr<Kind> made;
  return failed(createValue(made)) ? nullptr : made.release();
}

JsonValue* makeOfType(uint32_t type) {
  switch (type) {
    case kJsonNull:
      return makeKind<JsonNull>();
    case kJsonNumber:
      return makeKind<JsonNumber>();
    case kJsonString:
      return makeKind<JsonString>();
    case kJsonArray:
      return makeKind<JsonArray>();
    case kJsonObject:
      return makeKind<JsonObject>();
    default:
      return makeKind<JsonBool>();
  }
}

}  // namespace

int32_t JsonCollection::Write(runtime::Stream* stream) {
  return content().isCollection() ? JsonValue::Write(stream) : kFail;
}

JsonValue* JsonCollection::valueAt(uint64_t index) {
  if (index >= count()) {
    return nullptr;
  }
  const Item item = elementOf(content(), index);
  if (item.isValue()) {
    return item.value();
  }
  JsonValue* const made = makeOfType(item.type());
  if (made != nullptr) {
    const bool isMember = type() == kJsonObject;
    made->borrow(*pool(), isMember ? keyOf(content(), index) : std::string_view("", 0), item);
    put(index, made);
  }
  return made;
}

int32_t JsonCollection::query(uint64_t index, const Guid& id, void** value) {
  *value = nullptr;
  if (index >= count()) {
    return kFail;
  }
  JsonValue* const element = valueAt(index);
  return element == nullptr ? kOutOfMemory : element->QueryInterface(&id, value);
}

int32_t JsonCollection::append(ComPtr<JsonValue> value) {
  const Item old = content();
  if (failed(entries_.reserve(old.length() + 1))) {
    return kOutOfMemory;
  }
  const uint64_t each = itemsEach(type());
  while (entries_.size() < old.length()) {
    (void)entries_.append(Entry(old.items() + entries_.size() * each + each - 1));
  }
  (void)entries_.append(Entry(value.release()));
  hasValues_ = true;
  setContent(Item::changed(type(), entries_.data(), entries_.size()));
  return kOk;
}

void JsonCollection::replace(uint64_t index, ComPtr<JsonValue> value) {
  const Item old = elementOf(content(), index);
  const ComPtr<JsonValue> released(old.isValue() ? old.value() : nullptr);
  put(index, value.release());
}

// Without a look at what stood there.
void JsonCollection::put(uint64_t index, JsonValue* value) {
  hasValues_ = true;
  if (content().hasEntries()) {
    content().entries()[index] = Entry(value);
    return;
  }
  const uint64_t each = itemsEach(type());
  content().items()[index * each + each - 1] = Item::value(value->type(), value);
}

// Not by recursion: values can be nested deeper than the stack is.
void JsonCollection::releaseElements() {
  JsonCollection* dying = nullptr;
  dropElements(dying);
  while (dying != nullptr) {
    JsonCollection* const collection = dying;
    dying = collection->nextDying_;
    collection->dropElements(dying);
    collection->DeletingDestructor(1);
  }
}

void JsonCollection::dropElements(JsonCollection*& dying) {
  const uint64_t size = hasValues_ ? count() : 0;
  for (uint64_t i = 0; i < size; ++i) {
    const Item element = elementOf(content(), i);
    if (!element.isValue() || !element.value()->dropReference()) {
      continue;
    }
    if (element.isCollection()) {
      auto* const collection = static_cast<JsonCollection*>(element.value());
      collection->nextDying_ = dying;
      dying = collection;
    } else {
      element.value()->DeletingDestructor(1);
    }
  }
  entries_.clear();
  hasValues_ = false;
  setContent(Item::collection(type(), nullptr, 0));
}

}  // namespace vexa::json
