#pragma once

#include <cstddef>

#include "vexa/module.h"

namespace vexa {

inline constexpr char kHashTableListName[] = "vexa.misc.base.hashtable.1";

// What a helper makes of a key. With bytes: `number` counts them, and they are a block of the root
// list. Without: `number` is the key's hash and its identity.
struct HashTableKeyRecord {
  uint64_t number;
  uint8_t* bytes;
};
static_assert(sizeof(HashTableKeyRecord) == 16 && offsetof(HashTableKeyRecord, bytes) == 8);

// What copying, releasing and comparing an item means. Items are pointer-sized and opaque to the
// table. Helpers must outlive every table that uses them.
class IHashTableHelper {
 public:
  // Slot 0. A negative result fails Put or Get with that code.
  virtual int32_t CopyItem(void* item, void** copy) = 0;
  // Slot 1. Releases what CopyItem made.
  virtual int32_t FreeItem(void* item) = 0;
  // Slot 2. 0: equal, -1: a sorts first, 1: b does.
  virtual int32_t CompareItems(void* a, void* b) = 0;

 protected:
  ~IHashTableHelper() = default;
};

class IHashTableHelperKey : public IHashTableHelper {
 public:
  // Slot 3. A negative result fails the table operation with that code. Bytes made for Put are the
  // table's; it does not free those made for Remove, Contains and Get.
  virtual int32_t MakeKeyRecord(void* item, HashTableKeyRecord* record) = 0;

 protected:
  ~IHashTableHelperKey() = default;
};

// The built-in helpers.
enum HashTableItemType : uint32_t {
  kHashTableText = 1,    // char*, copied; two texts of the same hash are the same key
  kHashTableNumber = 2,  // a pointer-sized number
  kHashTableObject = 4,  // IComponent*, one reference each; compared by identity
};

// A keyed table with a fixed number of buckets, which decide the order of its keys; many entries
// are found as fast as few. One thread at a time; the reference count, which starts at 1, is not
// interlocked. Not an IComponent: slots 0 to 6 are the header of function lists.
class HashTable_void {
 public:
  virtual int32_t Header0(void*, void*, void*) = 0;  // slot 0: kOk
  virtual uint32_t AddRef() = 0;                     // slot 1
  // Slot 2. Returns the new count; at 0 the table and everything in it is gone.
  virtual uint32_t Release() = 0;
  virtual const char* GetTypeName() = 0;  // slot 3: "HashTable"
  // Slot 4. The table itself with one more reference.
  virtual int32_t Duplicate(HashTable_void** out) = 0;
  virtual int32_t Header5(void*) = 0;                // slot 5: kOk
  virtual int32_t Header6(void*, void*, void*) = 0;  // slot 6: kOk
  // Slot 7. Copies key and value in; an existing key stays and its value is replaced. kFalse: that
  // very value (the same pointer) is stored already. kOutOfMemory, or a helper's failure.
  virtual int32_t Put(void* key, void* value) = 0;
  // Slot 8. kOk: removed. kFalse: absent.
  virtual int32_t Remove(void* key) = 0;
  // Slot 9. kOk: present. kFalse: absent.
  virtual int32_t Contains(void* key) = 0;
  // Slot 10. kOk: *value is a copy of the caller's. kFalse: absent, *value is null. kNullPointer.
  // kOutOfMemory, or a helper's failure.
  virtual int32_t Get(void* key, void** value) = 0;
  // Slot 11. The key of the index-th entry, bucket by bucket, newest first: the stored key itself,
  // valid until the entry goes. kFalse: out of range, *key is null. kNullPointer. Going through all
  // keys in their order is one walk; a smaller index than the last one starts again.
  virtual int32_t GetKeyAt(uint64_t index, void** key) = 0;
  // Slot 12. kOk. Frees every entry.
  virtual int32_t RemoveAll() = 0;

 protected:
  ~HashTable_void() = default;
};

// The list "vexa.misc.base.hashtable.1". The table is the caller's. kNullPointer: null out.
// kInvalidArgument: a type without a helper; *table is null then. Without memory the result is kOk
// and *table null.
struct HashTableList {
  GetModuleInfoFunction GetModuleInfo;
  // `types`: the key's HashTableItemType in the low byte, the value's in the next one. 0 buckets
  // means 31.
  int32_t (*CreateHashTable)(HashTable_void** table, uint32_t types, uint64_t buckets);
  // Key and value: an item type, or the address of a helper (the value's slots 0 to 2 are used).
  int32_t (*CreateHashTableEx)(HashTable_void** table, uint64_t buckets, uintptr_t key,
                               uintptr_t value);
};
template <>
struct ListTraits<HashTableList> {
  static constexpr const char* kName = kHashTableListName;
  static constexpr ListSlot kSlots[] = {
      VEXA_LIST_SLOT(HashTableList, GetModuleInfo, 0),
      VEXA_LIST_SLOT(HashTableList, CreateHashTable, 1),
      VEXA_LIST_SLOT(HashTableList, CreateHashTableEx, 2),
  };
};
static_assert(namesEverySlot<HashTableList>());

}  // namespace vexa
