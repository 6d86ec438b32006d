#include "collections/hash_chains.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "collections/hash_helpers.h"
#include "collections/text_table.h"
#include "support/module_fixture.h"

// Chains as the module's own tables use them: without an array as long as there are few entries.
namespace vexa::test {
namespace {

using collections::HashChains;
using collections::TextTable;
using testing::ElementsAre;
using testing::IsEmpty;

void* item(uintptr_t number) { return reinterpret_cast<void*>(number); }

class Chains : public ModuleTest {
 protected:
  HashChains make(uint64_t buckets) { return {numbers, numbers, buckets}; }

  static std::vector<uintptr_t> keysOf(const HashChains& chains) {
    std::vector<uintptr_t> keys;
    void* key = nullptr;
    while (keys.size() < 1000 && chains.keyAt(keys.size(), &key) == kOk) {
      keys.push_back(reinterpret_cast<uintptr_t>(key));
    }
    return keys;
  }

  // Bucket by bucket, in each the newest first.
  static std::vector<uintptr_t> inOrder(std::vector<uintptr_t> keys, uint64_t buckets) {
    std::reverse(keys.begin(), keys.end());
    std::stable_sort(keys.begin(), keys.end(),
                     [buckets](uintptr_t a, uintptr_t b) { return a % buckets < b % buckets; });
    return keys;
  }

  IHashTableHelperKey& numbers = *collections::helperOf(kHashTableNumber);
};

TEST_F(Chains, AFewEntriesTakeNoArray) {
  HashChains chains = make(1000);
  for (uintptr_t key = 1; key <= 8; ++key) {
    EXPECT_EQ(chains.put(item(key), item(key)), kOk);
  }
  EXPECT_EQ(spy.liveBlocks(), 8) << "the entries alone";
  EXPECT_EQ(chains.put(item(9), item(9)), kOk);
  EXPECT_EQ(spy.liveBlocks(), 10);
}

TEST_F(Chains, EntriesThatWereRemovedDoNotCount) {
  HashChains chains = make(1000);
  for (uintptr_t key = 1; key <= 50; ++key) {
    EXPECT_EQ(chains.put(item(key), item(key)), kOk);
    EXPECT_EQ(chains.put(item(key), item(key + 1)), kOk) << "another value, no other entry";
    EXPECT_EQ(chains.remove(item(key)), kOk);
  }
  for (uintptr_t key = 1; key <= 8; ++key) {
    EXPECT_EQ(chains.put(item(key), item(key)), kOk);
  }
  chains.removeAll();
  EXPECT_EQ(spy.liveBlocks(), 0);
  for (uintptr_t key = 1; key <= 8; ++key) {
    EXPECT_EQ(chains.put(item(key), item(key)), kOk);
  }
  EXPECT_EQ(spy.liveBlocks(), 8) << "still no array";
}

TEST_F(Chains, KeysComeByBucketWithAndWithoutAnArray) {
  for (const uint64_t buckets : {1u, 2u, 7u, 8u, 9u, 15u, 16u, 17u, 31u, 64u}) {
    HashChains chains = make(buckets);
    std::vector<uintptr_t> keys;
    for (uintptr_t i = 0; i < 24; ++i) {
      const uintptr_t key = 1 + i * 37 % 101;
      EXPECT_EQ(chains.put(item(key), item(1)), kOk);
      keys.push_back(key);
      EXPECT_EQ(keysOf(chains), inOrder(keys, buckets)) << keys.size() << " of " << buckets;
    }
  }
}

TEST_F(Chains, ARemovedKeyLeavesTheOthersInOrder) {
  HashChains chains = make(3);
  for (const uintptr_t key : {1u, 2u, 4u, 5u, 7u}) {
    EXPECT_EQ(chains.put(item(key), item(key)), kOk);
  }
  EXPECT_EQ(chains.remove(item(4)), kOk);
  EXPECT_EQ(chains.contains(item(4)), kFalse);
  EXPECT_THAT(keysOf(chains), ElementsAre(7, 1, 5, 2));
  chains.removeAll();
  EXPECT_THAT(keysOf(chains), IsEmpty());
}

TEST_F(Chains, TheFullArrayIsEmptiedBucketByBucket) {
  for (const uint64_t buckets : {8u, 20u, 31u}) {
    HashChains chains = make(buckets);
    ASSERT_EQ(chains.spread(), kOk);
    for (uintptr_t key = 0; key < 2 * buckets; key += 3) {
      EXPECT_EQ(chains.put(item(key + 1), item(key)), kOk);
    }
    chains.removeAll();
    EXPECT_EQ(spy.liveBlocks(), 1) << "the array";
    EXPECT_THAT(keysOf(chains), IsEmpty());
  }
}

TEST_F(Chains, WithoutMemoryForTheArrayThePutFailsAndTheRestStays) {
  HashChains chains = make(5);
  std::vector<uintptr_t> keys;
  for (uintptr_t key = 1; key <= 8; ++key) {
    EXPECT_EQ(chains.put(item(key), item(key)), kOk);
    keys.push_back(key);
  }
  spy.failAllocation(1);
  EXPECT_EQ(chains.put(item(9), item(9)), kOutOfMemory);
  EXPECT_EQ(keysOf(chains), inOrder(keys, 5));
  EXPECT_EQ(chains.put(item(9), item(9)), kOk);
  keys.push_back(9);
  EXPECT_EQ(keysOf(chains), inOrder(keys, 5));
}

// A count of buckets that no array can have.
TEST_F(Chains, AnArrayThatCannotBeIsNotMade) {
  for (const uint64_t buckets : {UINT64_MAX, UINT64_MAX / 8 + 1}) {
    HashChains chains = make(buckets);
    EXPECT_EQ(chains.spread(), kOutOfMemory);
    EXPECT_EQ(spy.liveBlocks(), 0);
  }
}

// --- Room for the first entries ---

TEST_F(Chains, FirstEntriesTakeTheRoomThatIsGiven) {
  HashChains::Node room[3];
  HashChains chains(numbers, numbers, 5, {room, 3});
  for (uintptr_t key = 1; key <= 3; ++key) {
    EXPECT_EQ(chains.put(item(key), item(key)), kOk);
  }
  EXPECT_EQ(spy.liveBlocks(), 0);
  EXPECT_EQ(chains.put(item(4), item(4)), kOk);
  EXPECT_EQ(spy.liveBlocks(), 1);
  EXPECT_EQ(chains.remove(item(4)), kOk);
  EXPECT_EQ(chains.remove(item(2)), kOk);
  EXPECT_EQ(spy.liveBlocks(), 0);
  EXPECT_EQ(keysOf(chains), inOrder({1, 3}, 5));
  EXPECT_EQ(chains.put(item(5), item(5)), kOk);
  EXPECT_EQ(spy.liveBlocks(), 1) << "room is given once, until everything is removed";
  chains.removeAll();
  EXPECT_EQ(chains.put(item(6), item(6)), kOk);
  EXPECT_EQ(spy.liveBlocks(), 0);
}

TEST_F(Chains, RoomMakesNoDifference) {
  HashChains::Node room[4];
  HashChains roomy(numbers, numbers, 7, {room, 4});
  HashChains plain = make(7);
  uintptr_t seed = 1;
  for (int step = 0; step < 2000; ++step) {
    seed = seed * 1103515245 + 12345;
    void* const key = item(1 + (seed >> 16) % 14);
    if ((seed >> 8) % 97 == 0) {
      roomy.removeAll();
      plain.removeAll();
    } else if ((seed >> 8) % 3 == 0) {
      ASSERT_EQ(roomy.remove(key), plain.remove(key));
    } else {
      ASSERT_EQ(roomy.put(key, item(seed)), plain.put(key, item(seed)));
    }
    ASSERT_EQ(keysOf(roomy), keysOf(plain)) << step;
  }
}

// --- Tables of texts ---

TEST_F(Chains, CopiedTextsOutliveTheirSource) {
  TextTable table(TextTable::Items::kCopied, 31);
  char key[] = "key";
  char value[] = "value";
  ASSERT_EQ(table.put(key, value), kOk);
  EXPECT_EQ(spy.liveBlocks(), 2) << "both texts";
  key[0] = value[0] = 'x';
  EXPECT_STREQ(table.find("key"), "value");
  EXPECT_STREQ(table.keyAt(0), "key");
}

TEST_F(Chains, BorrowedTextsAreTheirSource) {
  TextTable table(TextTable::Items::kBorrowed, 31);
  const char key[] = "key";
  const char value[] = "value";
  ASSERT_EQ(table.put(key, value), kOk);
  EXPECT_EQ(spy.liveBlocks(), 0) << "the entry lies in the table";
  EXPECT_EQ(table.find("key"), value);
  EXPECT_EQ(table.keyAt(0), key);
}

TEST_F(Chains, ATableOfTextsHasRoomForFourEntries) {
  TextTable table(TextTable::Items::kBorrowed, 31);
  for (const char* const text : {"a", "b", "c", "d"}) {
    ASSERT_EQ(table.put(text, text), kOk);
    EXPECT_EQ(spy.liveBlocks(), 0) << text;
  }
  ASSERT_EQ(table.put("e", "e"), kOk);
  EXPECT_EQ(spy.liveBlocks(), 1);
}

}  // namespace
}  // namespace vexa::test
