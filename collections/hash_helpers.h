#pragma once

#include <cstdint>

#include "base/tables.h"
#include "vexa/hash_table.h"
#include "vexa/results.h"

namespace vexa::collections {

// The hash of a text: its bytes folded into 64 bits, each by
//   hash = (hash << 4 | hash >> 28) ^ byte
// which is no 32-bit rotation: what is shifted above bit 31 stays. Null gives 0.
//
// Each step has to wait for the one before, so bytes are taken two at a time. Of the first ones
// nothing comes back in, since they leave the bits above 27 alone. Later the first byte of a pair,
// four bits further left, does not reach what comes back in with the second.
inline uint64_t foldHash(const char* text) {
  uint64_t hash = 0;
  if (text == nullptr) {
    return hash;
  }
  constexpr int kLowPairs = 3;
  for (int i = 0; i < kLowPairs; ++i, text += 2) {
    const uint64_t first = static_cast<uint8_t>(text[0]);
    if (first == 0) {
      return hash;
    }
    const uint64_t second = static_cast<uint8_t>(text[1]);
    if (second == 0) {
      return (hash << 4) ^ first;
    }
    hash = (hash << 8) ^ (first << 4) ^ second;
  }
  for (;; text += 2) {
    const uint64_t first = static_cast<uint8_t>(text[0]);
    if (first == 0) {
      return hash;
    }
    const uint64_t second = static_cast<uint8_t>(text[1]);
    if (second == 0) {
      return (hash << 4 | hash >> 28) ^ first;
    }
    hash = (((hash << 8) ^ (first << 4)) | hash >> 24 | hash >> 56) ^ second;
  }
}

// Keys and values that are texts. Copies are made by the string component.
class HashTableHelper_String : public IHashTableHelperKey {
 public:
  int32_t CopyItem(void* item, void** copy) override {
    *copy = base::bound.strings->TextDuplicate(static_cast<const char*>(item));
    return *copy == nullptr && item != nullptr ? kOutOfMemory : kOk;
  }
  int32_t FreeItem(void* item) override;
  int32_t CompareItems(void* a, void* b) override;
  int32_t MakeKeyRecord(void* item, HashTableKeyRecord* record) override;
};

// Pointer-sized numbers.
class HashTableHelper_DWORD_PTR final : public IHashTableHelperKey {
 public:
  int32_t CopyItem(void* item, void** copy) override;
  int32_t FreeItem(void* item) override;
  int32_t CompareItems(void* a, void* b) override;
  int32_t MakeKeyRecord(void* item, HashTableKeyRecord* record) override;
};

// Objects, told apart by the pointer that they answer for IID_IComponent.
class HashTableHelper_IUnknown final : public IHashTableHelperKey {
 public:
  int32_t CopyItem(void* item, void** copy) override;
  int32_t FreeItem(void* item) override;
  int32_t CompareItems(void* a, void* b) override;
  int32_t MakeKeyRecord(void* item, HashTableKeyRecord* record) override;
};

// Keys and values that are texts which outlive their table: nothing is copied.
class BorrowedTextHelper final : public HashTableHelper_String {
 public:
  int32_t CopyItem(void* item, void** copy) override;
  int32_t FreeItem(void* item) override;
};
extern BorrowedTextHelper borrowedTextHelper;

extern HashTableHelper_String textHelper;

// The helper of an item type; null when there is none. Static, one of each.
IHashTableHelperKey* helperOf(uint32_t itemType);

}  // namespace vexa::collections
