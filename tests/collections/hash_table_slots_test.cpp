#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "hash_table_fixture.h"
#include "support/sweep.h"
#include "two_interfaces.h"
#include "vexa/hash_table.h"
#include "vexa/http_request.h"

namespace vexa::test {
namespace {

using testing::ElementsAre;

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
