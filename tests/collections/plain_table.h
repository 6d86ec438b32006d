#pragma once

#include <algorithm>
#include <cstring>
#include <list>
#include <string>
#include <vector>

#include "base/heap.h"
#include "vexa/hash_table.h"
#include "vexa/results.h"

// A hash table as plain as can be, to hold the real one against.
namespace vexa::test {

// What a key's record holds, and a mark that tells keys of one record apart.
struct Key {
  uint64_t number = 0;
  std::string bytes;
  bool hasBytes = false;
  int mark = 0;
};

// Hands out keys and values themselves, and writes down each call.
class LoggedHelper final : public IHashTableHelperKey {
 public:
  int32_t CopyItem(void* item, void** copy) override {
    log.push_back({'c', item, nullptr});
    *copy = item;
    return untilFailure != 0 && --untilFailure == 0 ? kFail : kOk;
  }
  int32_t FreeItem(void* item) override {
    log.push_back({'f', item, nullptr});
    return kOk;
  }
  int32_t CompareItems(void* a, void* b) override {
    log.push_back({'=', a, b});
    return static_cast<const Key*>(a)->mark == static_cast<const Key*>(b)->mark ? 0 : 1;
  }
  int32_t MakeKeyRecord(void* item, HashTableKeyRecord* record) override {
    log.push_back({'k', item, nullptr});
    const Key& key = *static_cast<const Key*>(item);
    *record = {key.number, nullptr};
    if (key.hasBytes) {
      record->number = key.bytes.size();
      record->bytes = static_cast<uint8_t*>(base::allocate(key.bytes.size() + 1));
      std::memcpy(record->bytes, key.bytes.data(), key.bytes.size());
      made = record->bytes;
    }
    return kOk;
  }

  struct Call {
    char name;
    const void* a;
    const void* b;
    friend bool operator==(const Call&, const Call&) = default;
  };
  std::vector<Call> log;
  uint8_t* made = nullptr;  // by the last record
  int untilFailure = 0;     // so many copies; 0: none fails
};

// The same table without chains of its own making: buckets are lists that are walked.
class PlainTable {
 public:
  PlainTable(LoggedHelper& helper, uint64_t buckets) : helper_(helper), buckets_(buckets) {}

  // `isShort`: there is no memory for another entry.
  int32_t put(Key* key, void* value, bool isShort) {
    note('k', key);
    auto& bucket = bucketOf(*key);
    const auto found = find(bucket, *key);
    if (found == bucket.end()) {
      return isShort ? kOutOfMemory : insert(bucket, key, value);
    }
    if (found->value == value) {
      return kFalse;
    }
    note('f', found->value);
    return helper_.CopyItem(value, &found->value);
  }

  int32_t remove(Key* key) {
    note('k', key);
    auto& bucket = bucketOf(*key);
    const auto found = find(bucket, *key);
    if (found == bucket.end()) {
      return kFalse;
    }
    release(*found);
    bucket.erase(found);
    return kOk;
  }

  int32_t get(Key* key, void** value) {
    note('k', key);
    auto& bucket = bucketOf(*key);
    const auto found = find(bucket, *key);
    *value = found == bucket.end() ? nullptr : found->value;
    if (found == bucket.end()) {
      return kFalse;
    }
    note('c', found->value);
    return kOk;
  }

  void removeAll() {
    for (auto& bucket : buckets_) {
      std::for_each(bucket.begin(), bucket.end(), [this](Entry& entry) { release(entry); });
      bucket.clear();
    }
  }

  std::vector<void*> keys() const {
    std::vector<void*> keys;
    for (const auto& bucket : buckets_) {
      for (const Entry& entry : bucket) {
        keys.push_back(entry.key);
      }
    }
    return keys;
  }

 private:
  struct Entry {
    Key* key;
    void* value;
  };

  void note(char name, const void* a, const void* b = nullptr) {
    helper_.log.push_back({name, a, b});
  }

  std::list<Entry>& bucketOf(const Key& key) {
    uint64_t sum = key.number;
    if (key.hasBytes) {
      sum = 0;
      for (size_t i = 0; i < key.bytes.size(); ++i) {
        const uint64_t width = buckets_.size() > 255 ? 2 : 1;
        sum += uint64_t{static_cast<uint8_t>(key.bytes[i])} << (8 * (i % width));
      }
    }
    return buckets_[sum % buckets_.size()];
  }

  std::list<Entry>::iterator find(std::list<Entry>& bucket, Key& key) {
    return std::find_if(bucket.begin(), bucket.end(), [&](const Entry& entry) {
      if (entry.key->hasBytes != key.hasBytes) {
        return false;
      }
      if (!key.hasBytes) {
        return entry.key->number == key.number;
      }
      if (entry.key->bytes != key.bytes) {
        return false;
      }
      note('=', &key, entry.key);
      return entry.key->mark == key.mark;
    });
  }

  int32_t insert(std::list<Entry>& bucket, Key* key, void* value) {
    void* copy = nullptr;
    if (failed(helper_.CopyItem(key, &copy))) {
      return kFail;
    }
    if (failed(helper_.CopyItem(value, &copy))) {
      note('f', key);
      return kFail;
    }
    bucket.push_front({key, value});
    return kOk;
  }

  void release(const Entry& entry) {
    note('f', entry.key);
    note('f', entry.value);
  }

  LoggedHelper& helper_;
  std::vector<std::list<Entry>> buckets_;
};

}  // namespace vexa::test
