#include "collections/hash_helpers.h"
#include "support/module_fixture.h"

// What the helpers of the item types copy, and what they say when there is no memory.
namespace vexa::test {
namespace {

using HashHelperCopies = ModuleTest;

TEST_F(HashHelperCopies, ATextThatCannotBeCopiedIsTold) {
  IHashTableHelperKey& texts = *collections::helperOf(kHashTableText);
  char text[] = "text";
  void* copy = this;
  spy.failAllocation(1);
  EXPECT_EQ(texts.CopyItem(text, &copy), kOutOfMemory);
  EXPECT_EQ(copy, nullptr);
  EXPECT_EQ(texts.CopyItem(text, &copy), kOk);
  EXPECT_STREQ(static_cast<char*>(copy), "text");
  EXPECT_EQ(texts.FreeItem(copy), kOk);
}

TEST_F(HashHelperCopies, NoTextIsCopiedAsNone) {
  for (const uint32_t type : {kHashTableText, kHashTableNumber, kHashTableObject}) {
    IHashTableHelperKey& helper = *collections::helperOf(type);
    void* copy = this;
    EXPECT_EQ(helper.CopyItem(nullptr, &copy), kOk) << type;
    EXPECT_EQ(copy, nullptr) << type;
    EXPECT_EQ(helper.FreeItem(copy), kOk) << type;
  }
}

}  // namespace
}  // namespace vexa::test
