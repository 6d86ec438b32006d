#pragma once

#include <cstdint>
#include <vector>

#include "support/module_fixture.h"
#include "vexa/hash_table.h"

namespace vexa::test {

inline void* item(uintptr_t number) { return reinterpret_cast<void*>(number); }
inline void* text(const char* value) { return const_cast<char*>(value); }

// A table of the built-in helpers or others, called by its slots' numbers.
class HashTable : public ModuleTest {
 protected:
  void TearDown() override {
    if (table != nullptr) {
      EXPECT_EQ(call<uint32_t>(table, 2), 0u);
    }
    ModuleTest::TearDown();
  }
  int32_t make(uint32_t types, uint64_t buckets) {
    return tableEntry<int32_t(void**, uint32_t, uint64_t)>(list(kHashTableListName), 1)(
        &table, types, buckets);
  }
  int32_t makeEx(uint64_t buckets, uintptr_t key, uintptr_t value) {
    return tableEntry<int32_t(void**, uint64_t, uintptr_t, uintptr_t)>(list(kHashTableListName), 2)(
        &table, buckets, key, value);
  }
  int32_t put(void* key, void* value) { return call<int32_t>(table, 7, key, value); }
  int32_t remove(void* key) { return call<int32_t>(table, 8, key); }
  int32_t contains(void* key) { return call<int32_t>(table, 9, key); }
  int32_t get(void* key, void** value) { return call<int32_t>(table, 10, key, value); }
  int32_t removeAll() { return call<int32_t>(table, 12); }
  void* keyAt(uint64_t index) {
    void* key = this;
    const int32_t result = call<int32_t>(table, 11, index, &key);
    EXPECT_EQ(result, key != nullptr ? kOk : kFalse);
    return key;
  }
  std::vector<uintptr_t> keys() {
    std::vector<uintptr_t> found;
    void* key = nullptr;
    for (uint64_t i = 0; call<int32_t>(table, 11, i, &key) == kOk; ++i) {
      found.push_back(reinterpret_cast<uintptr_t>(key));
    }
    return found;
  }

  void* table = nullptr;
};

}  // namespace vexa::test
