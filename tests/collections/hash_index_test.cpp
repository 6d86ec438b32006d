#include "collections/hash_index.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <utility>
#include <vector>

#include "collections/hash_chains.h"
#include "collections/hash_helpers.h"
#include "plain_table.h"
#include "support/module_fixture.h"

// Tables with more entries than chains alone are asked for.
namespace vexa::collections {

struct HashLookups {
  // How many entries a look-up of the key passes, the one that it finds included.
  static uint64_t stepsTo(const HashChains& chains, void* key) {
    HashTableKeyRecord probe{};
    if (failed(chains.makeProbe(key, probe))) {
      return 0;
    }
    uint64_t steps = 0;
    const HashNode* node = chains.index_ ? chains.index_.listOf(probe) : chains.chainOf(probe);
    while (node != nullptr) {
      ++steps;
      const HashNode* const next = chains.index_ ? node->nextInList : node->next;
      node = chains.matches(*node, probe, key) ? nullptr : next;
    }
    return steps;
  }
};

}  // namespace vexa::collections

namespace vexa::test {
namespace {

using collections::HashChains;
using collections::HashLookups;

constexpr uint64_t kLarge = 1024;  // no block of an entry is as large, each of an index is

// Keys that meet: in one bucket, in one number, in their bytes, in the number of their bytes.
std::vector<Key> meetingKeys(uint64_t buckets) {
  std::vector<Key> keys;
  for (uint64_t i = 0; i < 300; ++i) {
    keys.push_back({i * buckets, "", false, 0});
    keys.push_back({i * 0x9E3779B97F4A7C15, "", false, 0});
  }
  for (uint64_t i = 0; i < 24; ++i) {
    keys.push_back({i, "", false, 1});
    for (int mark = 0; mark < 3; ++mark) {
      keys.push_back({0, std::string(i, 'b'), true, mark});
      keys.push_back({0, std::string(i, '\0') + "b", true, mark});
      keys.push_back({0, "b" + std::string(i, '\0'), true, mark});
    }
  }
  return keys;
}

bool largeBlocksFail = false;
bool smallBlocksFail = false;
runtime::RootList plainRoot;

void* allocateSome(uint64_t size) {
  return (size >= kLarge ? largeBlocksFail : smallBlocksFail) ? nullptr : plainRoot.Allocate(size);
}

class Index : public ModuleTest {
 protected:
  void SetUp() override {
    ModuleTest::SetUp();
    plainRoot = spy.root;
    spy.root.Allocate = allocateSome;
    largeBlocksFail = smallBlocksFail = false;
  }

  // What a look-up made is the caller's.
  void freeProbe() { base::freeBlock(std::exchange(ours.made, nullptr)); }

  // By their places in any order, each place found from wherever the last one was.
  static void expectKeys(const HashChains& chains, const std::vector<void*>& keys,
                         std::minstd_rand& random) {
    for (int i = 0; i < 50; ++i) {
      const uint64_t index = random() % (keys.size() + 2);
      void* key = nullptr;
      ASSERT_EQ(chains.keyAt(index, &key), index < keys.size() ? kOk : kFalse);
      ASSERT_EQ(key, index < keys.size() ? keys[index] : nullptr);
    }
  }

  static std::vector<void*> keysOf(const HashChains& chains) {
    std::vector<void*> keys;
    for (void* key = nullptr; chains.keyAt(keys.size(), &key) == kOk;) {
      keys.push_back(key);
    }
    return keys;
  }

  void expectSameEverywhere(const HashChains& chains, PlainTable& plain, std::vector<Key>& keys) {
    ASSERT_EQ(keysOf(chains), plain.keys());
    for (Key& key : keys) {
      void* value = nullptr;
      void* expected = nullptr;
      ASSERT_EQ(chains.get(&key, &value), plain.get(&key, &expected));
      ASSERT_EQ(value, expected);
      freeProbe();
    }
    expectSameCalls();
  }
  void expectSameCalls() {
    ASSERT_TRUE(ours.log == theirs.log);
    ours.log.clear();
    theirs.log.clear();
  }

  void runAgainstThePlainOne(uint64_t buckets, bool sometimesShort);

  LoggedHelper ours;
  LoggedHelper theirs;
};

void Index::runAgainstThePlainOne(uint64_t buckets, bool sometimesShort) {
  std::vector<Key> keys = meetingKeys(buckets);
  std::vector<int> values(4);
  std::minstd_rand random(static_cast<uint32_t>(buckets));
  HashChains chains(ours, ours, buckets);
  PlainTable plain(theirs, buckets);
  ASSERT_EQ(chains.spread(), kOk);
  for (int step = 0; step < 12'000; ++step) {
    Key& key = keys[random() % keys.size()];
    void* const value = &values[random() % values.size()];
    largeBlocksFail = sometimesShort && step / 512 % 3 != 2;
    const bool grows = step / 1500 % 2 == 0;  // then most are removed again
    const auto choice = random() % 1000;
    ours.untilFailure = theirs.untilFailure =
        choice % 16 == 0 ? 1 + static_cast<int>(random() % 2) : 0;
    if (choice == 0) {
      chains.removeAll();
      plain.removeAll();
    } else if (choice < (grows ? 200u : 700u)) {
      ASSERT_EQ(chains.remove(&key), plain.remove(&key));
      freeProbe();
    } else {
      smallBlocksFail = choice % 16 == 1 && !key.hasBytes;
      ASSERT_EQ(chains.put(&key, value), plain.put(&key, value, smallBlocksFail));
      smallBlocksFail = false;
      ours.made = nullptr;
    }
    ours.untilFailure = theirs.untilFailure = 0;
    expectSameCalls();
    if (step % 250 == 0) {
      expectSameEverywhere(chains, plain, keys);
    }
    if (step % 64 == 0) {
      expectKeys(chains, plain.keys(), random);
    }
  }
  chains.removeAll();
  plain.removeAll();
  expectSameCalls();
}

TEST_F(Index, ManyEntriesAreThoseOfAPlainTable) {
  for (const uint64_t buckets : {1u, 3u, 31u, 257u, 1000u}) {
    runAgainstThePlainOne(buckets, false);
  }
}

TEST_F(Index, WithoutMemoryForAnIndexNothingIsDifferent) {
  for (const uint64_t buckets : {1u, 31u, 257u}) {
    runAgainstThePlainOne(buckets, true);
  }
}

// --- What an entry costs ---

// Texts that all fall into the first of the buckets of a request's parameters.
std::vector<std::string> meetingTexts(size_t count) {
  std::vector<std::string> texts;
  for (uint32_t i = 0; texts.size() < count; ++i) {
    const std::string text = "K" + std::to_string(i);
    if (collections::foldHash(text.c_str()) % 257 == 0) {
      texts.push_back(text);
    }
  }
  return texts;
}

// Over all keys, how many entries are looked at until each is found.
uint64_t stepsToAll(const HashChains& chains, const std::vector<std::string>& texts) {
  uint64_t steps = 0;
  for (const std::string& text : texts) {
    steps += HashLookups::stepsTo(chains, const_cast<char*>(text.c_str()));
  }
  return steps;
}

TEST_F(Index, KeysOfOneBucketAreFoundAtOnce) {
  const auto texts = meetingTexts(2000);
  HashChains chains(collections::borrowedTextHelper, collections::borrowedTextHelper, 257);
  for (size_t i = 0; i < texts.size(); ++i) {
    auto* const text = const_cast<char*>(texts[i].c_str());
    // New ones are looked for, too.
    ASSERT_LT(HashLookups::stepsTo(chains, text), 70u) << i;
    ASSERT_EQ(chains.put(text, text), kOk);
  }
  EXPECT_LT(stepsToAll(chains, texts), 3 * texts.size());
}

// Bytes whose words are the same twice, so that a careless digest loses them.
TEST_F(Index, KeysOfBytesAreFoundAtOnce) {
  HashChains chains(ours, ours, 1);
  std::vector<Key> keys(500);
  for (size_t i = 0; i < keys.size(); ++i) {
    const std::string word = std::to_string(10'000'000 + i);
    keys[i] = {0, word + word, true, 0};
    ASSERT_EQ(chains.put(&keys[i], nullptr), kOk);
  }
  uint64_t steps = 0;
  for (Key& key : keys) {
    steps += HashLookups::stepsTo(chains, &key);
    freeProbe();
  }
  EXPECT_LT(steps, 3 * keys.size());
}

// A walk from the start to each key would take five thousand million steps here.
TEST_F(Index, AllKeysAreGoneThroughInOneWalk) {
  constexpr uintptr_t kKeys = 100'000;
  IHashTableHelperKey& numbers = *collections::helperOf(kHashTableNumber);
  HashChains chains(numbers, numbers, 1);
  for (uintptr_t i = 0; i < kKeys; ++i) {
    ASSERT_EQ(chains.put(reinterpret_cast<void*>(i), nullptr), kOk);
  }
  uintptr_t newest = kKeys;
  for (void* key = nullptr; chains.keyAt(kKeys - newest, &key) == kOk;) {
    void* again = nullptr;
    ASSERT_EQ(chains.keyAt(kKeys - newest, &again), kOk);
    ASSERT_EQ(again, key);
    ASSERT_EQ(reinterpret_cast<uintptr_t>(key), --newest);
  }
  EXPECT_EQ(newest, 0u);
}

TEST_F(Index, WithoutMemoryTheChainsAnswerAlone) {
  const auto texts = meetingTexts(200);
  largeBlocksFail = true;
  HashChains chains(collections::borrowedTextHelper, collections::borrowedTextHelper, 257);
  ASSERT_EQ(chains.spread(), kOutOfMemory) << "that array is as large";
  largeBlocksFail = false;
  ASSERT_EQ(chains.spread(), kOk);
  largeBlocksFail = true;
  for (const std::string& text : texts) {
    ASSERT_EQ(chains.put(const_cast<char*>(text.c_str()), nullptr), kOk);
  }
  EXPECT_EQ(stepsToAll(chains, texts), 200 * 201 / 2) << "one chain, to its end";
  largeBlocksFail = false;
  char another[] = "another";
  ASSERT_EQ(chains.put(another, nullptr), kOk);
  EXPECT_LT(stepsToAll(chains, texts), 3 * texts.size()) << "the next entry brings the index";
}

// A helper that uses the table again while its items are given back, as the last release of an
// object may: the index that comes back with the new entries forgets those that go.
class PutsAgain final : public IHashTableHelperKey {
 public:
  int32_t CopyItem(void* item, void** copy) override {
    *copy = item;
    return kOk;
  }
  int32_t FreeItem(void* /*item*/) override {
    if (HashChains* const table = std::exchange(again, nullptr); table != nullptr) {
      for (uintptr_t key = 1000; key < 1100; ++key) {
        EXPECT_EQ(table->put(reinterpret_cast<void*>(key), nullptr), kOk);
      }
    }
    return kOk;
  }
  int32_t CompareItems(void* a, void* b) override { return a == b ? 0 : 1; }
  int32_t MakeKeyRecord(void* item, HashTableKeyRecord* record) override {
    *record = {reinterpret_cast<uintptr_t>(item), nullptr};
    return kOk;
  }

  HashChains* again = nullptr;  // put into at the next release
};

TEST_F(Index, ForgetsWhatIsRemovedWhileItComesBack) {
  PutsAgain helper;
  HashChains chains(helper, *collections::helperOf(kHashTableNumber), 1);
  for (uintptr_t key = 0; key < 200; ++key) {
    ASSERT_EQ(chains.put(reinterpret_cast<void*>(key), nullptr), kOk);
  }
  helper.again = &chains;
  chains.removeAll();
  EXPECT_EQ(helper.again, nullptr);
  EXPECT_TRUE(keysOf(chains).empty());
  for (uintptr_t key = 0; key < 1100; ++key) {
    ASSERT_EQ(chains.contains(reinterpret_cast<void*>(key)), kFalse) << key;
  }
}

TEST_F(Index, UpTo64EntriesDoWithoutIt) {
  const auto texts = meetingTexts(65);
  HashChains chains(collections::borrowedTextHelper, collections::borrowedTextHelper, 31);
  for (size_t i = 0; i < 64; ++i) {
    ASSERT_EQ(chains.put(const_cast<char*>(texts[i].c_str()), nullptr), kOk);
  }
  EXPECT_EQ(spy.liveBlocks(), 64 + 1) << "entries, buckets";
  ASSERT_EQ(chains.put(const_cast<char*>(texts[64].c_str()), nullptr), kOk);
  EXPECT_EQ(spy.liveBlocks(), 65 + 2) << "and lists";
}

TEST_F(Index, EmptiedTablesGiveItsMemoryBack) {
  const auto texts = meetingTexts(300);
  HashChains chains(collections::borrowedTextHelper, collections::borrowedTextHelper, 31);
  for (int round = 0; round < 2; ++round) {
    for (const std::string& text : texts) {
      ASSERT_EQ(chains.put(const_cast<char*>(text.c_str()), nullptr), kOk);
    }
    EXPECT_EQ(spy.liveBlocks(), 300 + 2) << "entries, buckets, lists";
    chains.removeAll();
    EXPECT_EQ(spy.liveBlocks(), 1) << "the buckets";
  }
}

}  // namespace
}  // namespace vexa::test
