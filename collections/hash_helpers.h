#pragma once

#include "vexa/hash_table.h"

namespace vexa::collections {

// Keys and values that are texts. Copies are made by the string component.
class HashTableHelper_String : public IHashTableHelperKey {
 public:
  int32_t CopyItem(void* item, void** copy) override;
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

// The hash of a text: its bytes folded into 64 bits. Null gives 0.
uint64_t foldHash(const char* text);

}  // namespace vexa::collections
