#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "support/module_fixture.h"
#include "support/sweep.h"
#include "two_interfaces.h"
#include "vexa/hash_table.h"
#include "vexa/http_request.h"

namespace vexa::test {
namespace {

using testing::ElementsAre;

void* item(uintptr_t number) { return reinterpret_cast<void*>(number); }
void* text(const char* value) { return const_cast<char*>(value); }

// The rule, written another way: four bits to the left, what falls out of 32 bits comes back in,
// but nothing above them is cut off.
uint64_t foldOf(const std::string& value) {
  uint64_t hash = 0;
  for (const char c : value) {
    const uint64_t left = hash * 16;
    const uint64_t right = hash / (1u << 28);
    hash = (left | right) ^ static_cast<unsigned char>(c);
  }
  return hash;
}

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

// --- Creation ---

TEST_F(HashTable, CreationChecksItsArguments) {
  auto* create = tableEntry<int32_t(void**, uint32_t, uint64_t)>(list(kHashTableListName), 1);
  EXPECT_EQ(create(nullptr, 0x0101, 0), kNullPointer);
  for (const uint32_t types :
       {0x0301u, 0x0103u, 0x0100u, 0x0001u, 0x0105u, 0x10101u, 0xFFFFFFFFu}) {
    table = this;
    EXPECT_EQ(make(types, 0), kInvalidArgument) << types;
    EXPECT_EQ(table, nullptr);
  }
  EXPECT_EQ((tableEntry<int32_t(void**, uint64_t, uintptr_t, uintptr_t)>(list(kHashTableListName),
                                                                         2)(nullptr, 0, 1, 1)),
            kNullPointer);
  table = this;
  EXPECT_EQ(makeEx(0, 3, 1), kInvalidArgument);
  EXPECT_EQ(table, nullptr);
  EXPECT_EQ(makeEx(0, 1, 0), kInvalidArgument);
  EXPECT_EQ(makeEx(0, 0xFFFF, 1), kInvalidArgument);
}

TEST_F(HashTable, TheFirstAddressThatIsNoTypeCodeIsAHelper) {
  // Nobody is there, and an empty table asks nobody.
  ASSERT_EQ(makeEx(0, 0x10000, 0x10000), kOk);
  EXPECT_NE(table, nullptr);
}

TEST_F(HashTable, WithoutMemoryTheResultIs0AndTheTableNull) {
  for (const uint64_t n : {1u, 2u}) {
    allocation_gate::failAt(n, true);
    table = this;
    const int32_t result = make(0x0202, 0);
    const bool refused = allocation_gate::refused() != 0;
    allocation_gate::neverFail();
    EXPECT_EQ(result, kOk);
    if (refused) {
      EXPECT_EQ(table, nullptr);
    } else if (table != nullptr) {
      EXPECT_EQ(call<uint32_t>(table, 2), 0u);
      table = nullptr;
    }
  }
  EXPECT_EQ(make(0x0202, UINT64_MAX), kOk);
  EXPECT_EQ(table, nullptr);
}

TEST_F(HashTable, HeaderSlotsAnswerAsTheyStand) {
  ASSERT_EQ(make(0x0202, 0), kOk);
  void* const null = nullptr;
  EXPECT_EQ(call<int32_t>(table, 0, null, null, null), 0);
  EXPECT_EQ(call<uint32_t>(table, 1), 2u) << "the count starts at 1";
  EXPECT_EQ(call<uint32_t>(table, 2), 1u);
  EXPECT_STREQ(call<const char*>(table, 3), "HashTable");
  void* same = nullptr;
  EXPECT_EQ(call<int32_t>(table, 4, &same), kOk);
  EXPECT_EQ(same, table);
  EXPECT_EQ(call<uint32_t>(table, 2), 1u);
  EXPECT_EQ(call<int32_t>(table, 5, null), 0);
  EXPECT_EQ(call<int32_t>(table, 6, null, null, null), 0);
}

// --- Buckets: keys come bucket by bucket, newest first. ---

TEST_F(HashTable, ZeroBucketsMean31) {
  ASSERT_EQ(make(0x0202, 0), kOk);
  for (const uintptr_t key : {31u, 1u, 62u, 30u, 32u}) {
    EXPECT_EQ(put(item(key), item(1)), kOk);
  }
  EXPECT_THAT(keys(), ElementsAre(62, 31, 32, 1, 30));
}

// A key is a byte string of the form {length, bytes...}; its record carries copies of the bytes.
class BytesHelper final : public IHashTableHelperKey {
 public:
  int32_t CopyItem(void* source, void** copy) override {
    *copy = source;
    return kOk;
  }
  int32_t FreeItem(void*) override { return kOk; }
  int32_t CompareItems(void* a, void* b) override {
    ++compared;
    lastCompared = {a, b};
    return a == b ? 0 : 1;
  }
  int32_t MakeKeyRecord(void* source, HashTableKeyRecord* record) override {
    if (result != kOk) {
      return result;
    }
    const auto* bytes = static_cast<const uint8_t*>(source);
    record->number = bytes[0];
    record->bytes = static_cast<uint8_t*>(SpyRuntime::current().root.Allocate(bytes[0]));
    if (record->bytes == nullptr) {
      return kOutOfMemory;
    }
    std::memcpy(record->bytes, bytes + 1, bytes[0]);
    probes.push_back(record->bytes);
    return kOk;
  }

  int32_t result = kOk;
  int compared = 0;
  std::pair<void*, void*> lastCompared;
  std::vector<void*> probes;
};

class HashTableBytes : public HashTable {
 protected:
  // The bucket that the rule gives, worked out with signed 32-bit terms.
  static uint64_t bucketOf(const std::vector<uint8_t>& key, uint64_t buckets) {
    const unsigned width = 1 + (buckets > 255) + (buckets > 65'535) + (buckets > 16'777'215);
    int64_t sum = 0;
    for (size_t i = 1; i < key.size(); ++i) {
      sum += static_cast<int32_t>(static_cast<uint32_t>(key[i]) << (8 * ((i - 1) % width)));
    }
    return static_cast<uint64_t>(sum) % buckets;
  }

  // Whether a table of so many buckets hands these keys out in the order that the rule gives.
  testing::AssertionResult comeByBucket(std::vector<std::vector<uint8_t>> samples,
                                        uint64_t buckets) {
    if (makeEx(buckets, reinterpret_cast<uintptr_t>(&helper), kHashTableNumber) != kOk ||
        table == nullptr) {
      return testing::AssertionFailure() << "no table of " << buckets;
    }
    for (auto& key : samples) {
      EXPECT_EQ(put(key.data(), item(1)), kOk);
    }
    // Of one bucket the newest comes first.
    std::reverse(samples.begin(), samples.end());
    std::stable_sort(samples.begin(), samples.end(), [&](const auto& a, const auto& b) {
      return bucketOf(a, buckets) < bucketOf(b, buckets);
    });
    const std::vector<uintptr_t> found = keys();
    EXPECT_EQ(call<uint32_t>(table, 2), 0u);
    table = nullptr;
    if (found.size() != samples.size()) {
      return testing::AssertionFailure() << found.size() << " keys of " << samples.size();
    }
    for (size_t i = 0; i < found.size(); ++i) {
      if (reinterpret_cast<const void*>(found[i]) != samples[i].data()) {
        return testing::AssertionFailure() << "another key at " << i << " of " << buckets;
      }
    }
    return testing::AssertionSuccess();
  }

  BytesHelper helper;
};

// Enough keys that no other width gives the same order.
TEST_F(HashTableBytes, TheKeyByteWidthGrowsWithTheBuckets) {
  std::mt19937 random(257);
  for (const uint64_t buckets : {255u, 256u, 257u, 65'535u, 65'536u}) {
    std::vector<std::vector<uint8_t>> samples(100);
    for (auto& key : samples) {
      const auto length = static_cast<uint8_t>(1 + random() % 6);
      key.push_back(length);
      for (uint8_t i = 0; i < length; ++i) {
        key.push_back(static_cast<uint8_t>(random()));
      }
    }
    EXPECT_TRUE(comeByBucket(samples, buckets));
  }
}

// These tables are large, so a few keys must do: ones that change places with another width.
TEST_F(HashTableBytes, TheKeyByteWidthIs4From16777216BucketsOn) {
  EXPECT_TRUE(comeByBucket({{4, 1, 0, 0, 5}, {1, 3}}, 16'777'216));
  EXPECT_TRUE(comeByBucket({{4, 0, 0, 0, 0x90}, {1, 200}}, 16'777'215));
  EXPECT_TRUE(comeByBucket({{4, 0, 0, 0, 0x90}, {3, 207, 124, 156}}, 16'777'259))
      << "terms are signed";
}

TEST_F(HashTableBytes, BytesThatAreEqualAreComparedByTheHelperAtLast) {
  ASSERT_EQ(makeEx(7, reinterpret_cast<uintptr_t>(&helper), kHashTableNumber), kOk);
  uint8_t first[] = {2, 1, 2};
  uint8_t equal[] = {2, 1, 2};
  uint8_t other[] = {2, 2, 1};
  EXPECT_EQ(put(first, item(1)), kOk);
  EXPECT_EQ(put(first, item(2)), kOk);
  EXPECT_EQ(helper.compared, 1);
  EXPECT_EQ(put(other, item(3)), kOk);
  EXPECT_EQ(helper.compared, 1) << "other bytes need no helper";
  EXPECT_EQ(put(equal, item(4)), kOk) << "the helper says no: another key";
  EXPECT_EQ(keys().size(), 3u);
  EXPECT_EQ(spy.liveBlocks(), 1 + 2 * 3) << "buckets, nodes and their bytes; the probes are freed";
}

TEST_F(HashTableBytes, TheHelperComparesTheProbeWithTheStoredKey) {
  ASSERT_EQ(makeEx(7, reinterpret_cast<uintptr_t>(&helper), kHashTableNumber), kOk);
  uint8_t stored[] = {2, 1, 2};
  uint8_t probe[] = {2, 1, 2};
  EXPECT_EQ(put(stored, item(1)), kOk);
  EXPECT_EQ(put(probe, item(2)), kOk);
  EXPECT_EQ(helper.lastCompared, (std::pair<void*, void*>(probe, stored)));
}

TEST_F(HashTableBytes, EveryFailedAllocationOfAPutLosesNoBytes) {
  ASSERT_EQ(makeEx(7, reinterpret_cast<uintptr_t>(&helper), kHashTableText), kOk);
  uint8_t key[] = {3, 1, 2, 3};
  const int swept = sweepAllocations(spy, [&] {
    const int32_t result = put(key, text("value"));
    EXPECT_TRUE(result == kOk || result == kOutOfMemory) << result;
    EXPECT_EQ(removeAll(), kOk);
    return result == kOk;
  });
  EXPECT_EQ(swept, 3) << "bytes, node, value";
}

// Records whose number is the same, some with bytes and some without.
class MixedHelper final : public IHashTableHelperKey {
 public:
  int32_t CopyItem(void* source, void** copy) override {
    if (succeeded(copyResult)) {
      *copy = source;
    }
    return copyResult;
  }
  int32_t FreeItem(void* freed) override {
    released.push_back(freed);
    return kOk;
  }
  int32_t CompareItems(void*, void*) override { return 0; }
  int32_t MakeKeyRecord(void* source, HashTableKeyRecord* record) override {
    record->number = 1;
    record->bytes = nullptr;
    if (reinterpret_cast<uintptr_t>(source) % 2 != 0) {
      record->bytes = static_cast<uint8_t*>(SpyRuntime::current().root.Allocate(1));
    }
    return recordResult;
  }

  int32_t copyResult = kOk;
  int32_t recordResult = kOk;
  std::vector<void*> released;
};

class HashTableMixed : public HashTable {
 protected:
  MixedHelper helper;
  MixedHelper values;
};

TEST_F(HashTableMixed, ARecordWithBytesIsNoRecordWithout) {
  ASSERT_EQ(makeEx(1, reinterpret_cast<uintptr_t>(&helper), kHashTableNumber), kOk);
  EXPECT_EQ(put(item(1), item(10)), kOk);
  EXPECT_EQ(put(item(2), item(20)), kOk);
  EXPECT_EQ(keys().size(), 2u);
  EXPECT_EQ(put(item(4), item(40)), kOk) << "without bytes the number alone decides";
  EXPECT_EQ(put(item(3), item(30)), kOk) << "with bytes the helper says that they are equal";
  EXPECT_THAT(keys(), ElementsAre(2, 1));
  void* value = nullptr;
  EXPECT_EQ(get(item(2), &value), kOk);
  EXPECT_EQ(value, item(40));
}

TEST_F(HashTableMixed, APositiveResultOfAKeyRecordIsNoFailure) {
  ASSERT_EQ(makeEx(1, reinterpret_cast<uintptr_t>(&helper), kHashTableNumber), kOk);
  helper.recordResult = kFalse;
  EXPECT_EQ(put(item(2), item(20)), kOk);
  void* value = nullptr;
  EXPECT_EQ(get(item(2), &value), kOk);
  EXPECT_EQ(value, item(20));
  EXPECT_EQ(contains(item(2)), kOk);
  EXPECT_EQ(remove(item(2)), kOk);
}

TEST_F(HashTableMixed, AFailedCopyOfAKeyFailsThePutWithItsCode) {
  ASSERT_EQ(makeEx(1, reinterpret_cast<uintptr_t>(&helper), reinterpret_cast<uintptr_t>(&values)),
            kOk);
  helper.copyResult = kAccessDenied;
  EXPECT_EQ(put(item(1), item(10)), kAccessDenied);
  EXPECT_EQ(keyAt(0), nullptr);
  EXPECT_THAT(helper.released, ElementsAre());
  EXPECT_EQ(spy.liveBlocks(), 1) << "the buckets";
}

TEST_F(HashTableMixed, AFailedCopyOfAValueGivesTheKeyBack) {
  ASSERT_EQ(makeEx(1, reinterpret_cast<uintptr_t>(&helper), reinterpret_cast<uintptr_t>(&values)),
            kOk);
  values.copyResult = kAccessDenied;
  EXPECT_EQ(put(item(1), item(10)), kAccessDenied);
  EXPECT_EQ(keyAt(0), nullptr);
  EXPECT_THAT(helper.released, ElementsAre(item(1)));
  EXPECT_THAT(values.released, ElementsAre());
  EXPECT_EQ(spy.liveBlocks(), 1) << "the buckets";
}

TEST_F(HashTableMixed, AFailedCopyOfAReplacedValueIsReported) {
  ASSERT_EQ(makeEx(1, reinterpret_cast<uintptr_t>(&helper), reinterpret_cast<uintptr_t>(&values)),
            kOk);
  EXPECT_EQ(put(item(2), item(20)), kOk);
  values.copyResult = kAccessDenied;
  EXPECT_EQ(put(item(2), item(21)), kAccessDenied);
  EXPECT_THAT(values.released, ElementsAre(item(20))) << "the old value has gone";
  EXPECT_EQ(keyAt(0), item(2)) << "the key stays";
  EXPECT_EQ(removeAll(), kOk);
  EXPECT_THAT(values.released, ElementsAre(item(20), nullptr)) << "and is not given back twice";
}

TEST_F(HashTableMixed, APositiveResultOfACopyIsNoFailure) {
  ASSERT_EQ(makeEx(1, reinterpret_cast<uintptr_t>(&helper), reinterpret_cast<uintptr_t>(&values)),
            kOk);
  helper.copyResult = values.copyResult = kFalse;
  EXPECT_EQ(put(item(2), item(20)), kOk);
  EXPECT_EQ(put(item(2), item(21)), kOk);
  EXPECT_EQ(keyAt(0), item(2));
  EXPECT_THAT(helper.released, ElementsAre());
  EXPECT_THAT(values.released, ElementsAre(item(20)));
  void* value = nullptr;
  EXPECT_EQ(get(item(2), &value), kOk) << "kFalse would mean that it is absent";
  EXPECT_EQ(value, item(21));
}

TEST_F(HashTableMixed, PuttingTheSameValueAgainGives1AndChangesNothing) {
  ASSERT_EQ(makeEx(1, reinterpret_cast<uintptr_t>(&helper), reinterpret_cast<uintptr_t>(&values)),
            kOk);
  for (const uintptr_t key : {2u, 3u}) {
    EXPECT_EQ(put(item(key), item(20)), kOk);
  }
  const int64_t blocks = spy.liveBlocks();
  helper.copyResult = values.copyResult = kAccessDenied;  // whoever copies now, fails
  for (const uintptr_t key : {2u, 3u, 4u, 5u}) {
    EXPECT_EQ(put(item(key), item(20)), kFalse) << "an equal key counts, too";
  }
  EXPECT_THAT(helper.released, ElementsAre());
  EXPECT_THAT(values.released, ElementsAre());
  EXPECT_THAT(keys(), ElementsAre(3, 2));
  EXPECT_EQ(spy.liveBlocks(), blocks);
}

TEST_F(HashTableBytes, LookingUpLeavesTheProbesBytesToTheHelper) {
  ASSERT_EQ(makeEx(7, reinterpret_cast<uintptr_t>(&helper), kHashTableNumber), kOk);
  uint8_t key[] = {2, 1, 2};
  EXPECT_EQ(put(key, item(1)), kOk);
  helper.probes.clear();
  void* value = nullptr;
  EXPECT_EQ(contains(key), kOk);
  EXPECT_EQ(get(key, &value), kOk);
  EXPECT_EQ(remove(key), kOk);
  EXPECT_EQ(helper.probes.size(), 3u);
  EXPECT_EQ(spy.liveBlocks(), 1 + 3);
  for (void* probe : helper.probes) {
    spy.root.Free(probe);
  }
}

TEST_F(HashTableBytes, AFailingKeyRecordFailsEveryOperationWithItsCode) {
  ASSERT_EQ(makeEx(7, reinterpret_cast<uintptr_t>(&helper), kHashTableNumber), kOk);
  uint8_t key[] = {1, 1};
  helper.result = kAccessDenied;
  void* value = this;
  EXPECT_EQ(put(key, item(1)), kAccessDenied);
  EXPECT_EQ(remove(key), kAccessDenied);
  EXPECT_EQ(contains(key), kAccessDenied);
  EXPECT_EQ(get(key, &value), kAccessDenied);
  EXPECT_EQ(value, nullptr);
}

// --- Operations ---

TEST_F(HashTable, PutGetContainsRemove) {
  ASSERT_EQ(make(0x0202, 0), kOk);
  void* value = this;
  EXPECT_EQ(get(item(5), &value), kFalse);
  EXPECT_EQ(value, nullptr);
  EXPECT_EQ(get(item(5), nullptr), kNullPointer);
  EXPECT_EQ(contains(item(5)), kFalse);
  EXPECT_EQ(remove(item(5)), kFalse);
  EXPECT_EQ(put(item(5), item(50)), kOk);
  EXPECT_EQ(contains(item(5)), kOk);
  EXPECT_EQ(get(item(5), &value), kOk);
  EXPECT_EQ(value, item(50));
  EXPECT_EQ(put(item(5), item(50)), kFalse) << "the very same value";
  EXPECT_EQ(put(item(5), item(51)), kOk);
  EXPECT_EQ(get(item(5), &value), kOk);
  EXPECT_EQ(value, item(51));
  EXPECT_EQ(remove(item(5)), kOk);
  EXPECT_EQ(get(item(5), &value), kFalse);
}

TEST_F(HashTable, AnIndexEqualToTheNumberOfEntriesGives1AndANullKey) {
  ASSERT_EQ(make(0x0202, 0), kOk);
  EXPECT_EQ(put(item(3), item(1)), kOk);
  EXPECT_EQ(keyAt(0), item(3));
  EXPECT_EQ(keyAt(1), nullptr);
  EXPECT_EQ(keyAt(UINT64_MAX), nullptr);
  EXPECT_EQ(call<int32_t>(table, 11, uint64_t{0}, static_cast<void**>(nullptr)), kNullPointer);
}

TEST_F(HashTable, RemoveAllEmptiesTheTable) {
  ASSERT_EQ(make(0x0101, 5), kOk);
  for (const char* key : {"a", "b", "c", "d", "e", "f", "g"}) {
    EXPECT_EQ(put(text(key), text("value")), kOk);
  }
  EXPECT_EQ(removeAll(), kOk);
  EXPECT_EQ(keyAt(0), nullptr);
  EXPECT_EQ(spy.liveBlocks(), 1);
  EXPECT_EQ(put(text("a"), text("again")), kOk);
}

// --- Texts ---

TEST_F(HashTable, TextsAreStoredAndHandedOutAsCopies) {
  ASSERT_EQ(make(0x0101, 0), kOk);
  char key[] = "key";
  char value[] = "value";
  EXPECT_EQ(put(key, value), kOk);
  key[0] = value[0] = 'X';
  void* found = nullptr;
  EXPECT_EQ(get(text("key"), &found), kOk);
  EXPECT_STREQ(static_cast<char*>(found), "value");
  spy.root.Free(found);
  EXPECT_STREQ(static_cast<char*>(keyAt(0)), "key") << "the stored key itself";
}

TEST_F(HashTable, TextsOfEqualHashShareOneEntryAndKeepTheFirstKey) {
  const std::string first = "aQ";
  const std::string second = "ba";
  ASSERT_EQ(foldOf(first), foldOf(second));
  ASSERT_EQ(make(0x0101, 0), kOk);
  EXPECT_EQ(put(text(first.c_str()), text("one")), kOk);
  EXPECT_EQ(put(text(second.c_str()), text("two")), kOk);
  EXPECT_EQ(keyAt(1), nullptr);
  EXPECT_STREQ(static_cast<char*>(keyAt(0)), first.c_str());
  void* found = nullptr;
  EXPECT_EQ(get(text(first.c_str()), &found), kOk);
  EXPECT_STREQ(static_cast<char*>(found), "two");
  spy.root.Free(found);
}

TEST_F(HashTable, TheFoldHashKeepsTheBitsAbove31) {
  const std::string samples[] = {
      "", "a", "Content-Length", "\xFF\x80\xFE", std::string(40, 'q'), std::string(500, '\xFF')};
  constexpr uint64_t kBuckets = 65'521;
  ASSERT_EQ(make(0x0201, kBuckets), kOk);
  for (const std::string& key : samples) {
    EXPECT_EQ(put(text(key.c_str()), item(1)), kOk);
  }
  std::vector<uint64_t> buckets;
  for (uint64_t i = 0; i < std::size(samples); ++i) {
    buckets.push_back(foldOf(static_cast<char*>(keyAt(i))) % kBuckets);
  }
  EXPECT_TRUE(std::is_sorted(buckets.begin(), buckets.end()));
  EXPECT_EQ(put(nullptr, item(1)), kFalse) << "null hashes as 0, like the empty text";
}

// --- Objects ---

TEST_F(HashTable, TwoInterfacesOfAnObjectAreOneKey) {
  TwoInterfaces one;
  TwoInterfaces other;
  ASSERT_EQ(make(0x0204, 0), kOk) << "object keys, numbers";
  EXPECT_EQ(put(one.first(), item(1)), kOk);
  EXPECT_EQ(put(one.second(), item(2)), kOk);
  EXPECT_EQ(put(other.second(), item(3)), kOk);
  EXPECT_EQ(keys().size(), 2u);
  void* value = nullptr;
  EXPECT_EQ(get(one.first(), &value), kOk);
  EXPECT_EQ(value, item(2));
  EXPECT_EQ(get(other.first(), &value), kOk);
  EXPECT_EQ(value, item(3));
  EXPECT_EQ(one.references(), 1u) << "the table's";
  EXPECT_EQ(remove(one.second()), kOk);
  EXPECT_EQ(removeAll(), kOk);
  EXPECT_EQ(one.references() + other.references(), 0u);
}

TEST_F(HashTable, TheLowByteOfTheTypesIsTheKeysAndTheNextOneTheValues) {
  void* const object = create(kHttpRequestClassName, IID_IHTTPRequest);
  void* found = nullptr;
  for (const uint32_t types : {0x0104u, 0x0401u}) {
    const bool areObjectKeys = types == 0x0104;
    ASSERT_EQ(make(types, 0), kOk);
    EXPECT_EQ(areObjectKeys ? put(object, text("text")) : put(text("text"), object), kOk);
    EXPECT_EQ(get(areObjectKeys ? object : text("text"), &found), kOk);
    if (areObjectKeys) {
      EXPECT_STREQ(static_cast<char*>(found), "text");
      spy.root.Free(found);
    } else {
      EXPECT_EQ(found, object);
      EXPECT_EQ(call<uint32_t>(found, 2), 2u) << "the creator's and the table's";
    }
    EXPECT_EQ(call<uint32_t>(table, 2), 0u);
    table = nullptr;
  }
  EXPECT_EQ(call<uint32_t>(object, 2), 0u);
}

TEST_F(HashTable, ObjectKeysAreHeldByReference) {
  ASSERT_EQ(make(0x0104, 0), kOk) << "object keys, text values";
  void* const object = create(kHttpRequestClassName, IID_IHTTPRequest);
  EXPECT_EQ(put(object, text("one")), kOk);
  EXPECT_EQ(call<uint32_t>(object, 1), 3u) << "creator, table, this one";
  call<uint32_t>(object, 2);
  EXPECT_EQ(put(object, text("two")), kOk);
  EXPECT_EQ(keyAt(1), nullptr);
  EXPECT_EQ(remove(object), kOk);
  EXPECT_EQ(call<uint32_t>(object, 2), 0u);
  EXPECT_EQ(put(nullptr, text("null")), kOk);
  EXPECT_EQ(contains(nullptr), kOk);
}

// --- Memory ---

TEST_F(HashTable, EveryFailedAllocationLeavesTheTableUsable) {
  ASSERT_EQ(make(0x0101, 0), kOk);
  sweepAllocations(spy, [this] {
    const int32_t first = put(text("key"), text("one"));
    const int32_t second = put(text("key"), text("two"));
    void* value = nullptr;
    const int32_t found = get(text("key"), &value);
    for (const int32_t result : {first, second}) {
      EXPECT_TRUE(result == kOk || result == kOutOfMemory);
    }
    const bool complete = value != nullptr && std::strcmp(static_cast<char*>(value), "two") == 0;
    spy.root.Free(value);
    EXPECT_EQ(removeAll(), kOk);
    return first == kOk && second == kOk && found == kOk && complete;
  });
}

}  // namespace
}  // namespace vexa::test
