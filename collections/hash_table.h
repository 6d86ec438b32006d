#pragma once

#include "vexa/hash_table.h"

namespace vexa::collections {

// The list "vexa.misc.base.hashtable.1".
extern const HashTableList kHashTableList;

// A new table with one reference, or null without memory. Keys and values as the helpers say.
HashTable_void* createTable(IHashTableHelperKey* key, IHashTableHelper* value, uint64_t buckets);

// Owns one reference to a table of texts, the kind that the module itself uses.
class TextTable {
 public:
  TextTable() = default;
  TextTable(const TextTable&) = delete;
  TextTable& operator=(const TextTable&) = delete;
  ~TextTable() {
    if (table_ != nullptr) {
      table_->Release();
    }
  }

  // kOutOfMemory. Once.
  [[nodiscard]] int32_t create(uint64_t buckets);
  [[nodiscard]] int32_t put(const char* key, const char* value) {
    return table_->Put(const_cast<char*>(key), const_cast<char*>(value));
  }
  // kOk: *value is the caller's, freed through the root list. kFalse: absent, *value is null.
  [[nodiscard]] int32_t get(const char* key, char** value) const {
    return table_->Get(const_cast<char*>(key), reinterpret_cast<void**>(value));
  }
  // Null when out of range.
  const char* keyAt(uint64_t index) const {
    void* key = nullptr;
    return table_->GetKeyAt(index, &key) == kOk ? static_cast<const char*>(key) : nullptr;
  }

 private:
  HashTable_void* table_ = nullptr;
};

}  // namespace vexa::collections
