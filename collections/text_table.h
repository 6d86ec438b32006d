#pragma once

#include "collections/hash_chains.h"

namespace vexa::collections {

// A table of texts for the module's own use, without an object of its own.
class TextTable {
 public:
  enum class Items { kCopied, kBorrowed };  // borrowed: keys and values outlive the table

  TextTable(Items items, uint64_t buckets);

  // kOutOfMemory. An existing key stays and its value is replaced.
  [[nodiscard]] int32_t put(const char* key, const char* value) {
    return failed(chains_.put(const_cast<char*>(key), const_cast<char*>(value))) ? kOutOfMemory
                                                                                 : kOk;
  }
  // The stored text, or null.
  const char* find(const char* key) const {
    void* value = nullptr;
    return chains_.find(const_cast<char*>(key), value) == kOk ? static_cast<char*>(value) : nullptr;
  }
  // Null when out of range.
  const char* keyAt(uint64_t index) const {
    void* key = nullptr;
    return chains_.keyAt(index, &key) == kOk ? static_cast<char*>(key) : nullptr;
  }

 private:
  HashChains::Node first_[4];  // most tables hold no more entries, and need no block for them
  HashChains chains_;
};

}  // namespace vexa::collections
