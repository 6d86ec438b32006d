#pragma once

#include <cstdint>
#include <string_view>

#include "vexa/json.h"

namespace vexa::json {

class Entry;
class JsonValue;

// One value of a collection, or the key of a member, in two words. What a parse makes is nothing
// but items, which lie in its pool. An object of the component model is made of an item when
// somebody asks for one; from then on the item refers to that object, which owns itself by its
// reference count.
//
//   type                    length                       word
//   null, bool, number      0                            truth value or number
//   string                  bytes                        text, with a zero byte behind it
//   array, object           elements or members          the items: elements one by one, members as
//                                                        key and value by turns
//   any, with kIsValue      0                            the JsonValue
//   array, object, with     elements or members          an entry for each of them
//   kHasEntries
class Item {
 public:
  Item() = default;  // not set
  // No value, no key.
  static constexpr Item absent() { return {kJsonAbsent, 0, {}}; }
  static constexpr Item null() { return {kJsonNull, 0, {}}; }
  static constexpr Item boolean(bool value) { return {kJsonBool, 0, {.number = value ? 1 : 0}}; }
  static constexpr Item number(int32_t value) { return {kJsonNumber, 0, {.number = value}}; }
  static constexpr Item string(const char* text, uint64_t length) {
    return {kJsonString, length, {.text = text}};
  }
  static constexpr Item collection(uint32_t type, Item* items, uint64_t count) {
    return {type, count, {.items = items}};
  }
  static constexpr Item changed(uint32_t type, Entry* entries, uint64_t count) {
    return {type | kHasEntries, count, {.entries = entries}};
  }
  static constexpr Item value(uint32_t type, JsonValue* value) {
    return {type | kIsValue, 0, {.value = value}};
  }

  uint32_t type() const { return static_cast<uint32_t>(head_) & kTypeMask; }
  bool isAbsent() const { return head_ == kJsonAbsent; }
  bool isValue() const { return (head_ & kIsValue) != 0; }
  bool hasEntries() const { return (head_ & kHasEntries) != 0; }
  bool isCollection() const { return type() == kJsonArray || type() == kJsonObject; }
  uint64_t length() const { return head_ >> kLengthShift; }

  int32_t number() const { return word_.number; }
  std::string_view text() const { return {word_.text, length()}; }
  Item* items() const { return word_.items; }
  Entry* entries() const { return word_.entries; }
  JsonValue* value() const { return word_.value; }

  // For strings: true when the lengths are equal.
  bool isAsLongAs(const Item& other) const { return head_ == other.head_; }

  // No text is longer, so that every length has room beside a type.
  static constexpr uint64_t kLongest = uint64_t{1} << 48;

 private:
  static constexpr uint32_t kTypeMask = 0x0F;
  static constexpr uint32_t kIsValue = 0x80;
  static constexpr uint32_t kHasEntries = 0x40;
  static constexpr int kLengthShift = 8;

  union Word {
    int32_t number;
    const char* text;
    Item* items;
    Entry* entries;
    JsonValue* value;
  };

  constexpr Item(uint32_t type, uint64_t length, Word word)
      : head_(length << kLengthShift | type), word_(word) {}

  uint64_t head_;
  Word word_;
};
static_assert(sizeof(Item) == 16);

// What a collection has for each element or member once it was changed: an object, or an item of
// the pool, that of a member's value with its key before it.
class Entry {
 public:
  explicit Entry(JsonValue* value) : word_(reinterpret_cast<char*>(value)) {}
  explicit Entry(Item* item) : word_(reinterpret_cast<char*>(item) + 1) {}

  bool isValue() const { return (reinterpret_cast<uintptr_t>(word_) & 1) == 0; }
  JsonValue* value() const { return reinterpret_cast<JsonValue*>(word_); }
  Item* item() const { return reinterpret_cast<Item*>(word_ - 1); }

 private:
  char* word_;
};
static_assert(sizeof(Entry) == sizeof(void*));

// Items from one to the next member of an object, or element of an array.
constexpr uint64_t itemsEach(uint32_t type) { return type == kJsonObject ? 2 : 1; }

}  // namespace vexa::json
