#include "collections/hashtable_list.h"

#include "base/list_registry.h"
#include "collections/hash_helpers.h"
#include "collections/hash_table.h"
#include "vexa/results.h"

namespace vexa::collections {
namespace {

constexpr uintptr_t kFirstHelperAddress = 0x10000;  // below: item types

int32_t create(HashTable_void** table, IHashTableHelperKey* key, IHashTableHelper* value,
               uint64_t buckets) {
  if (key == nullptr || value == nullptr) {
    return kInvalidArgument;
  }
  *table = createTable(*key, *value, buckets);
  return kOk;
}

int32_t CreateHashTable(HashTable_void** table, uint32_t types, uint64_t buckets) {
  if (table == nullptr) {
    return kNullPointer;
  }
  *table = nullptr;
  // A type word above 16 bits leaves a value type that has no helper.
  return create(table, helperOf(types & 0xFF), helperOf(types >> 8), buckets);
}

template <class Helper>
Helper* helperFrom(uintptr_t typeOrHelper) {
  return typeOrHelper < kFirstHelperAddress
             ? helperOf(static_cast<uint32_t>(typeOrHelper))
             : reinterpret_cast<Helper*>(typeOrHelper);  // NOLINT(performance-no-int-to-ptr)
}

int32_t CreateHashTableEx(HashTable_void** table, uint64_t buckets, uintptr_t key,
                          uintptr_t value) {
  if (table == nullptr) {
    return kNullPointer;
  }
  *table = nullptr;
  return create(table, helperFrom<IHashTableHelperKey>(key), helperFrom<IHashTableHelper>(value),
                buckets);
}

}  // namespace

constinit const HashTableList kHashTableList = {
    .GetModuleInfo = base::GetModuleInfo<kHashTableListName>,
    .CreateHashTable = CreateHashTable,
    .CreateHashTableEx = CreateHashTableEx,
};

}  // namespace vexa::collections
