#include "base/text.h"

#include <gtest/gtest.h>

#include "support/module_fixture.h"

namespace vexa::base {
namespace {

class TextTest : public test::ModuleTest {};

TEST_F(TextTest, AssignStoresADuplicateAndFreesTheOldOne) {
  Text text;
  ASSERT_EQ(text.assign("one"), kOk);
  ASSERT_EQ(text.assign("two"), kOk);
  EXPECT_STREQ(text.get(), "two");
  EXPECT_EQ(spy.liveBlocks(), 1);
}

TEST_F(TextTest, AssigningTheTextHeldChangesNothing) {
  Text text;
  ASSERT_EQ(text.assign("one"), kOk);
  const char* const held = text.get();
  const uint64_t before = spy.allocations();
  ASSERT_EQ(text.assign(held), kOk);
  EXPECT_EQ(text.get(), held);
  EXPECT_EQ(spy.allocations(), before);
}

TEST_F(TextTest, AFailedDuplicateKeepsTheOldText) {
  Text text;
  ASSERT_EQ(text.assign("one"), kOk);
  spy.failAllocation(1);
  EXPECT_EQ(text.assign("two"), kOutOfMemory);
  EXPECT_STREQ(text.get(), "one");
}

TEST_F(TextTest, NullEmptiesTheHolder) {
  Text text;
  ASSERT_EQ(text.assign("one"), kOk);
  ASSERT_EQ(text.assign(nullptr), kOk);
  EXPECT_EQ(text.get(), nullptr);
  EXPECT_EQ(spy.liveBlocks(), 0);
}

TEST_F(TextTest, PutFreesWhatWasHeld) {
  Text text;
  ASSERT_EQ(text.assign("one"), kOk);
  *text.put() = spy.strings.TextDuplicate("two");
  EXPECT_STREQ(text.get(), "two");
  Text moved(std::move(text));
  EXPECT_STREQ(moved.get(), "two");
  EXPECT_EQ(spy.liveBlocks(), 1);
}

}  // namespace
}  // namespace vexa::base
