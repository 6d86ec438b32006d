#include "scrambler/cipher_items.h"

#include <gtest/gtest.h>

#include <vector>

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

TEST(CipherItems, FreeWhatTheyOwnAtTheirEnd) {
  freed.clear();
  int owned = 0;
  {
    scrambler::CipherItems<1> items;
    items.add(1, &owned, &kOwner);
    EXPECT_TRUE(freed.empty());
  }
  EXPECT_EQ(freed, std::vector<void*>{&owned});
}

}  // namespace
}  // namespace vexa::test
