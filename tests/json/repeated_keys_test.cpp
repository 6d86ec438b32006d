#include "json/repeated_keys.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <string>
#include <vector>

#include "support/bound_fixture.h"

// Of members with equal keys the first one stays, whatever the keys are, and in a bounded number of
// steps.
namespace vexa::json {
namespace {

using Keys = std::vector<std::string>;

// The same as plain as can be: the positions of the members that stay.
std::vector<int32_t> plainly(const Keys& keys) {
  std::vector<int32_t> kept;
  for (size_t i = 0; i < keys.size(); ++i) {
    bool isNew = true;
    for (size_t other = 0; other < i; ++other) {
      isNew = isNew && keys[other] != keys[i];
    }
    if (isNew) {
      kept.push_back(static_cast<int32_t>(i));
    }
  }
  return kept;
}

// A key for each small number: of different lengths, some of them the beginning of others.
std::string keyOf(uint32_t number) {
  std::string key = std::to_string(number);
  return number % 3 == 0 ? key : std::string(number % 20, 'k') + key;
}

using base::SecretMix;

uint64_t allTheSame(std::string_view /*key*/, const SecretMix& /*mix*/) { return 42; }
uint64_t lengthAlone(std::string_view key, const SecretMix& /*mix*/) {
  return key.size() << 32 | key.size();
}
uint64_t onePlaceManyChecks(std::string_view key, const SecretMix& mix) {
  return digestKey(key, mix) << 32;
}

class JsonRepeatedKeys : public test::BoundTest {
 protected:
  // The positions of the members that stay; the value of each member is its position.
  std::vector<int32_t> kept(const Keys& keys, RepeatedKeys& repeated) {
    std::vector<Item> items;
    for (size_t i = 0; i < keys.size(); ++i) {
      items.push_back(Item::string(keys[i].data(), keys[i].size()));
      items.push_back(Item::number(static_cast<int32_t>(i)));
    }
    uint64_t members = 0;
    EXPECT_TRUE(repeated.drop(items, members));
    std::vector<int32_t> positions;
    for (uint64_t i = 0; i < members; ++i) {
      const int32_t position = items[2 * i + 1].number();
      EXPECT_EQ(items[2 * i].text(), keys[static_cast<size_t>(position)]);
      positions.push_back(position);
    }
    return positions;
  }
  std::vector<int32_t> kept(const Keys& keys, RepeatedKeys::Digest digest = digestKey) {
    RepeatedKeys repeated(digest);
    return kept(keys, repeated);
  }
  uint64_t stepsFor(const Keys& keys) {
    RepeatedKeys repeated;
    EXPECT_EQ(kept(keys, repeated).size(), keys.size());
    return repeated.steps();
  }
};

constexpr RepeatedKeys::Digest kDigests[] = {digestKey, allTheSame, lengthAlone,
                                             onePlaceManyChecks};

TEST_F(JsonRepeatedKeys, AreThoseThatAPlainSearchFinds) {
  uint32_t random = 1;
  for (const size_t members : {0u, 1u, 2u, 7u, 8u, 9u, 16u, 17u, 63u, 64u, 65u, 300u, 1000u}) {
    for (const size_t different : {1u, 3u, 10u, 100u, 2000u}) {
      Keys keys;
      for (size_t i = 0; i < members; ++i) {
        random = random * 1664525 + 1013904223;
        keys.push_back(keyOf((random >> 8) % static_cast<uint32_t>(different)));
      }
      for (const RepeatedKeys::Digest digest : kDigests) {
        EXPECT_EQ(kept(keys, digest), plainly(keys)) << members << " of " << different;
      }
    }
  }
}

TEST_F(JsonRepeatedKeys, AreNotThoseWithEqualDigestsAlone) {
  // More than a few, so that they are looked up; all with one digest.
  const Keys keys = {"a", "b", "ab", "aa", "ba", "abc", "abd", "bbc", std::string("a\0", 2),
                     "",  "c", "d",  "ab"};
  for (const RepeatedKeys::Digest digest : {allTheSame, lengthAlone}) {
    EXPECT_EQ(kept(keys, digest), (std::vector<int32_t>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}));
  }
}

TEST_F(JsonRepeatedKeys, AreFoundAmongManyObjectsByOneFinder) {
  RepeatedKeys repeated;
  for (const size_t members : {20u, 1000u, 3u, 70u, 5000u, 20u}) {
    Keys keys;
    for (size_t i = 0; i < members; ++i) {
      keys.push_back("key " + std::to_string(i % (members - 2)));
    }
    EXPECT_EQ(kept(keys, repeated).size(), members - 2);
  }
}

// --- what they cost ---

constexpr size_t kMany = 50'000;

Keys honestKeys() {
  Keys keys;
  for (size_t i = 0; i < kMany; ++i) {
    std::string number = std::to_string(i);
    keys.push_back("member name " + std::string(5 - number.size(), '0') + number);
  }
  return keys;
}

// A digest that everybody knows.
uint64_t publicStep(uint64_t digest, uint64_t word) {
  digest = (digest ^ word) * 0x9E3779B97F4A7C15;
  return digest ^ digest >> 32;
}
uint64_t publicDigest(std::string_view key, const SecretMix& /*mix*/) {
  uint64_t words[2] = {};
  std::memcpy(words, key.data(), std::min(key.size(), sizeof(words)));
  return publicStep(publicStep(key.size(), words[0]), words[1]);
}

// Keys of 16 bytes that somebody chose who knows it: the second word takes back what the first one
// did.
Keys keysOfOneDigest() {
  Keys keys;
  for (uint64_t i = 0; i < kMany; ++i) {
    const uint64_t words[2] = {i, publicStep(16, i)};
    keys.emplace_back(reinterpret_cast<const char*>(words), sizeof(words));
  }
  return keys;
}

TEST_F(JsonRepeatedKeys, AreComparedWithEachOtherUpToEight) {
  Keys keys = honestKeys();
  keys.resize(8);
  EXPECT_EQ(stepsFor(keys), 8u * 7 / 2);
  keys.push_back("another");
  EXPECT_LT(stepsFor(keys), 9u * 8 / 2);
}

TEST_F(JsonRepeatedKeys, CostAFewStepsWhenNobodyChoseThem) {
  EXPECT_LE(stepsFor(honestKeys()), 2 * kMany);
}

TEST_F(JsonRepeatedKeys, CostNoMoreWhenSomebodyChoseThemWhoDoesNotKnowTheSeed) {
  EXPECT_LE(stepsFor(keysOfOneDigest()), 2 * kMany);
}

TEST_F(JsonRepeatedKeys, CostABoundedNumberOfStepsWhenAnEnemyKnowsTheDigest) {
  const Keys keys = keysOfOneDigest();
  for (const std::string& key : keys) {
    ASSERT_EQ(publicDigest(key, SecretMix()), publicDigest(keys[0], SecretMix()));
  }
  RepeatedKeys repeated(publicDigest);
  EXPECT_EQ(kept(keys, repeated).size(), keys.size());
  // Not a fraction of kMany * kMany: what sorting takes, and a few looks before it.
  EXPECT_LE(repeated.steps(), (8 + 2 * std::bit_width(kMany)) * kMany);
}

TEST_F(JsonRepeatedKeys, CostLittleWhenAllAreEqual) {
  RepeatedKeys repeated;
  EXPECT_EQ(kept(Keys(kMany, "the same"), repeated), std::vector<int32_t>{0});
  EXPECT_LE(repeated.steps(), 3 * kMany);
}

TEST_F(JsonRepeatedKeys, TakeMemoryOnceForObjectsOfOneSize) {
  const Keys keys = honestKeys();
  RepeatedKeys repeated;
  EXPECT_EQ(kept(keys, repeated).size(), kMany);
  const uint64_t before = spy.allocations();
  EXPECT_GE(before, 1u);
  EXPECT_EQ(kept(keys, repeated).size(), kMany);
  EXPECT_EQ(spy.allocations(), before);
}

TEST_F(JsonRepeatedKeys, AreNotToldApartWhenMemoryIsShort) {
  const Keys keys = honestKeys();
  std::vector<Item> items;
  for (const std::string& key : keys) {
    items.push_back(Item::string(key.data(), key.size()));
    items.push_back(Item::null());
  }
  RepeatedKeys repeated;
  uint64_t members = 0;
  spy.failAllocation(1);
  EXPECT_FALSE(repeated.drop(items, members));
  EXPECT_TRUE(repeated.drop(items, members)) << "the next object may fit again";
  EXPECT_EQ(members, keys.size());
}

}  // namespace
}  // namespace vexa::json
