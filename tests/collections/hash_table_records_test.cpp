#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <utility>
#include <vector>

#include "hash_table_fixture.h"
#include "support/sweep.h"

// Keys and values of helpers that a test makes: records with bytes and without, and failures.
namespace vexa::test {
namespace {

using testing::ElementsAre;

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

}  // namespace
}  // namespace vexa::test
