#include <gtest/gtest.h>

#include <vector>

#include "scrambler/cipher.h"
#include "scrambler/cipher_items.h"
#include "support/bound_fixture.h"

namespace vexa::test {
namespace {

std::vector<void*> freed;
const runtime::CipherItemTable kOwner = {nullptr, nullptr, [](void* v) { freed.push_back(v); }};

TEST(CipherItems, AreLinkedInOrder) {
  int a = 0;
  int b = 0;
  scrambler::CipherItems<3> items;
  items.add(119, &a);
  items.add(106, nullptr);
  items.add(114, &b);
  const runtime::CipherItem* item = items.first();
  EXPECT_EQ(item->tag, 119u);
  EXPECT_EQ(item->value, &a);
  EXPECT_EQ(item->owned, 0);
  item = item->next;
  EXPECT_EQ(item->tag, 106u);
  EXPECT_EQ(item->value, nullptr);
  item = item->next;
  EXPECT_EQ(item->tag, 114u);
  EXPECT_EQ(item->next, nullptr);
}

TEST(CipherItems, IgnoreWhatExceedsTheirCapacity) {
  freed.clear();
  int a = 0;
  {
    scrambler::CipherItems<2> items;
    items.add(1, nullptr);
    items.add(2, nullptr);
    items.add(3, &a, &kOwner);
    EXPECT_EQ(items.count(), 2u);
    EXPECT_EQ(items.first()->next->next, nullptr);
  }
  EXPECT_TRUE(freed.empty());
}

TEST(CipherItems, FreeTheValuesTheyOwnOnce) {
  freed.clear();
  int borrowed = 0;
  int owned = 0;
  {
    scrambler::CipherItems<2> items;
    items.add(1, &borrowed);
    items.add(2, &owned, &kOwner);
    EXPECT_NE(items.first()->next->owned, 0);
    EXPECT_EQ(items.first()->next->table, &kOwner);
    items.release();
    EXPECT_EQ(items.first()->value, nullptr);
    EXPECT_EQ(items.first()->next->value, nullptr);
  }
  EXPECT_EQ(freed, std::vector<void*>{&owned});
}

class Cipher : public BoundTest {};

TEST_F(Cipher, NeedsParametersInputAndOutput) {
  const scrambler::CipherItems<1> items;
  const runtime::ByteBuffer in{};
  runtime::ByteBuffer* out = nullptr;
  EXPECT_EQ(scrambler::runCipher(nullptr, &in, &out), kBadKeyLength);
  EXPECT_EQ(scrambler::runCipher(items.first(), nullptr, &out), kBadKeyLength);
  EXPECT_EQ(scrambler::runCipher(items.first(), &in, nullptr), kBadKeyLength);
}

TEST_F(Cipher, RefusesKeyLengthsOutOfRange) {
  for (const uint64_t bits : {uint64_t{0}, uint64_t{16385}, uint64_t{1} << 32 | 128}) {
    runtime::SymmetricKey* key = nullptr;
    EXPECT_EQ(scrambler::generateKey(6, bits, &key), kBadKeyLength);
    EXPECT_EQ(key, nullptr);
  }
}

TEST_F(Cipher, MakesKeysOfTheShortestAndTheLongestLength) {
  for (const uint64_t bits : {uint64_t{1}, uint64_t{16384}}) {
    scrambler::SymmetricKey key;
    EXPECT_EQ(scrambler::generateKey(6, bits, key.put()), kOk);
    ASSERT_TRUE(key);
    EXPECT_EQ(key->table->GetBitLength(key.get()), bits);
  }
}

TEST_F(Cipher, NeedsARuntime) {
  base::bound.crypt = {};
  const scrambler::CipherItems<1> items;
  const runtime::ByteBuffer in{};
  runtime::ByteBuffer* out = nullptr;
  EXPECT_EQ(scrambler::runCipher(items.first(), &in, &out), kFail);
  scrambler::SymmetricKey key;
  EXPECT_EQ(scrambler::generateKey(12, 256, key.put()), kFail);
}

}  // namespace
}  // namespace vexa::test
