#include <algorithm>
#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "collections/hashtable_list.h"
#include "harness.h"
#include "vexa/hash_table.h"

// A table worked on by a list of steps, against a model over std::map: every result, every value
// and the order of the keys must be the same. The first byte chooses the items, the second the
// number of buckets; then each byte is a step and the key that it is done with:
//   bits 0 to 2   put, put, put many, remove, contains, get, all keys, remove all
//   bits 3 to 7   the key, of 32; at each fourth step one of the many others
// The list runs twice: once undisturbed, once with one allocation that fails.
namespace vexa::fuzz {
namespace {

constexpr uint64_t kBuckets[] = {0, 1, 2, 7, 31, 255, 256, 257, 1000, 65536};

// The keys that a step names by itself; behind them lie as many more for each.
constexpr uintptr_t kFewKeys = 32;
constexpr uintptr_t kMany = 16;
// Tables with no more entries have no index, whose memory may fail.
constexpr size_t kUnindexed = 64;

// --- Keys of the three kinds: numbers, texts (two of which share their hash), byte strings ---

enum Kind { kNumbers, kTexts, kBytes, kKinds };

// Texts of one or two letters; "aQ" and "ba" have the same hash.
std::string textOf(uintptr_t key) {
  if (key >= kFewKeys) {
    return std::to_string(key);
  }
  return key == 0 ? "aQ" : key == 1 ? "ba" : std::string(1 + key % 2, static_cast<char>('A' + key));
}

// A byte string whose bytes are chosen so that widths of 1, 2 and 3 tell them apart.
std::vector<uint8_t> bytesOf(uintptr_t key) {
  std::vector<uint8_t> bytes(1 + key % 5, static_cast<uint8_t>(key * 37));
  bytes.front() = static_cast<uint8_t>(key);
  return bytes;
}

// The table sees keys of bytes as numbers that stand for them.
class BytesHelper final : public IHashTableHelperKey {
 public:
  int32_t CopyItem(void* item, void** copy) override {
    *copy = item;
    return kOk;
  }
  int32_t FreeItem(void*) override { return kOk; }
  int32_t CompareItems(void* a, void* b) override { return a == b ? 0 : 1; }
  int32_t MakeKeyRecord(void* item, HashTableKeyRecord* record) override {
    const std::vector<uint8_t> bytes = bytesOf(reinterpret_cast<uintptr_t>(item));
    record->number = bytes.size();
    record->bytes = static_cast<uint8_t*>(startedModule().Allocate(bytes.size()));
    if (record->bytes == nullptr) {
      return kOutOfMemory;
    }
    std::memcpy(record->bytes, bytes.data(), bytes.size());
    made = record->bytes;
    return kOk;
  }

  void* made = nullptr;  // by the last record; a table that only looks leaves them to the helper
};
BytesHelper bytesHelper;

// --- The model ---

// What makes two keys one, and where a key stands.
struct Place {
  uint64_t bucket;
  uint64_t age;  // counted down: the newest first
};

class Model {
 public:
  Model(Kind kind, uint64_t buckets) : kind_(kind), buckets_(buckets != 0 ? buckets : 31) {}

  bool has(uintptr_t key) const { return entries_.count(identity(key)) != 0; }
  uint64_t valueOf(uintptr_t key) const { return entries_.at(identity(key)).value; }
  void put(uintptr_t key, uint64_t value) {
    const auto [entry, isNew] = entries_.try_emplace(identity(key), Entry{});
    if (isNew) {
      entry->second = {key, value, {bucketOf(key), ~++count_}};
    }
    entry->second.value = value;
  }
  void remove(uintptr_t key) { entries_.erase(identity(key)); }
  void clear() { entries_.clear(); }
  size_t size() const { return entries_.size(); }

  std::vector<uintptr_t> keys() const {
    std::vector<Entry> sorted;
    for (const auto& [id, entry] : entries_) {
      sorted.push_back(entry);
    }
    std::sort(sorted.begin(), sorted.end(), [](const Entry& a, const Entry& b) {
      return a.place.bucket != b.place.bucket ? a.place.bucket < b.place.bucket
                                              : a.place.age < b.place.age;
    });
    std::vector<uintptr_t> keys;
    keys.reserve(sorted.size());
    for (const Entry& entry : sorted) {
      keys.push_back(entry.key);
    }
    return keys;
  }

 private:
  struct Entry {
    uintptr_t key = 0;
    uint64_t value = 0;
    Place place{};
  };

  static uint64_t foldOf(const std::string& text) {
    uint64_t hash = 0;
    for (const char c : text) {
      hash = (hash * 16 | hash / (1u << 28)) ^ static_cast<uint8_t>(c);
    }
    return hash;
  }
  uint64_t identity(uintptr_t key) const { return kind_ == kTexts ? foldOf(textOf(key)) : key; }
  uint64_t bucketOf(uintptr_t key) const {
    if (kind_ != kBytes) {
      return identity(key) % buckets_;
    }
    const uint64_t width = 1 + (buckets_ >= 256) + (buckets_ >= 65536);
    uint64_t sum = 0;
    uint64_t shift = 0;
    for (const uint8_t byte : bytesOf(key)) {
      sum += uint64_t{byte} << 8 * shift;
      shift = (shift + 1) % width;
    }
    return sum % buckets_;
  }

  Kind kind_;
  uint64_t buckets_;
  uint64_t count_ = 0;
  std::map<uint64_t, Entry> entries_;
};

// --- The table ---

class Table {
 public:
  Table(Kind kind, uint64_t buckets) : kind_(kind), model_(kind, buckets) {
    const uintptr_t value = kind == kTexts ? kHashTableText : kHashTableNumber;
    const uintptr_t key = kind == kBytes ? reinterpret_cast<uintptr_t>(&bytesHelper) : value;
    require(collections::kHashTableList.CreateHashTableEx(&table_, buckets, key, value) == kOk,
            "a table is made");
  }
  Table(const Table&) = delete;
  Table& operator=(const Table&) = delete;
  ~Table() {
    if (table_ != nullptr) {
      require(table_->Release() == 0, "nobody else holds the table");
    }
  }

  explicit operator bool() const { return table_ != nullptr; }

  // False: memory was short.
  bool run(uint8_t step, uint64_t number) {
    const uintptr_t named = step >> 3;
    const uintptr_t others = kFewKeys + named * kMany;
    const uintptr_t key = number % 4 == 3 ? others + number % kMany : named;
    bytesHelper.made = nullptr;
    switch (step & 7) {
      case 0:
      case 1:
        return put(key, number);
      case 2:
        return putMany(others, number);
      case 3:
        return look(table_->Remove(item(key)), key) && (model_.remove(key), true);
      case 4:
        return look(table_->Contains(item(key)), key);
      case 5:
        return get(key);
      case 6:
        return sameKeys();
      default:
        require(table_->RemoveAll() == kOk, "the table is emptied");
        model_.clear();
        return true;
    }
  }

  size_t entries() const { return model_.size(); }

  bool sameKeys() const {
    const std::vector<uintptr_t> keys = model_.keys();
    void* key = nullptr;
    for (uint64_t i = 0; i < keys.size(); ++i) {
      require(table_->GetKeyAt(i, &key) == kOk, "as many keys");
      require(kind_ == kTexts ? textOf(keys[i]) == static_cast<char*>(key)
                              : key == reinterpret_cast<void*>(keys[i]),
              "the same keys in the same order");
    }
    require(table_->GetKeyAt(keys.size(), &key) == kFalse && key == nullptr, "no more keys");
    return true;
  }

 private:
  // Texts are compared as they were; `held_` keeps them for the time of a call.
  void* item(uintptr_t key) {
    held_ = textOf(key);
    return kind_ == kTexts ? held_.data() : reinterpret_cast<void*>(key);
  }

  bool put(uintptr_t key, uint64_t number) {
    const uint64_t value = number / 2;  // so that some are the same as before
    std::string text = std::to_string(value);
    const bool isSame = kind_ != kTexts && model_.has(key) && model_.valueOf(key) == value;
    const int32_t result =
        table_->Put(item(key), kind_ == kTexts ? text.data() : reinterpret_cast<void*>(value));
    if (result == kOutOfMemory) {
      return false;
    }
    require(result == (isSame ? kFalse : kOk), "the result of a put");
    model_.put(key, value);
    return true;
  }

  bool putMany(uintptr_t first, uint64_t number) {
    for (uintptr_t key = first; key < first + kMany; ++key) {
      if (!put(key, number)) {
        return false;
      }
    }
    return true;
  }

  bool get(uintptr_t key) {
    void* value = this;
    const int32_t result = table_->Get(item(key), &value);
    if (!look(result, key)) {
      require(value == nullptr, "no value without memory");
      return false;
    }
    if (result == kOk && kind_ == kTexts) {
      require(std::to_string(model_.valueOf(key)) == static_cast<char*>(value), "the same text");
      startedModule().Free(value);
    } else {
      const uint64_t expected = model_.has(key) ? model_.valueOf(key) : 0;
      require(value == reinterpret_cast<void*>(expected), "the same value");
    }
    return true;
  }

  bool look(int32_t result, uintptr_t key) {
    startedModule().Free(bytesHelper.made);
    require(result == kOutOfMemory || result == (model_.has(key) ? kOk : kFalse),
            "the key is there, or not");
    return result != kOutOfMemory;
  }

  Kind kind_;
  HashTable_void* table_ = nullptr;
  Model model_;
  std::string held_;
};

void check(std::string_view input) {
  const auto kind = static_cast<Kind>(static_cast<uint8_t>(input[0]) % kKinds);
  const uint64_t buckets = kBuckets[static_cast<uint8_t>(input[1]) % std::size(kBuckets)];
  const std::string_view steps = input.substr(2);
  Table table(kind, buckets);
  require(static_cast<bool>(table), "memory is not short");
  uint64_t number = 0;
  for (const char step : steps) {
    require(table.run(static_cast<uint8_t>(step), ++number), "a step without a failed allocation");
  }
  require(table.sameKeys(), "the table is as the model says");

  const FailingAllocation failing(seedOf(input, 0) % (2 * steps.size() + 3) + 1);
  Table starved(kind, buckets);
  require(static_cast<bool>(starved) != failing.hasFailed(), "without memory there is no table");
  number = 0;
  for (const char step : starved ? steps : std::string_view()) {
    const bool done = starved.run(static_cast<uint8_t>(step), ++number);
    if (done && failing.hasFailed()) {
      require(starved.entries() > kUnindexed, "out of memory is told");
      require(starved.sameKeys(), "a table does without its index");
      return;
    }
    require(done != failing.hasFailed(), "out of memory is told only then");
    if (!done) {
      return;  // whether a value that could not be replaced is gone, the model does not know
    }
  }
}

}  // namespace
}  // namespace vexa::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  return size < 2 ? 0 : vexa::fuzz::checkInputOfModule(data, size, vexa::fuzz::check);
}
