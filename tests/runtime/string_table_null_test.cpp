#include "runtime/runtime_fixture.h"

// What the string tables say to nothing where a string is needed.
namespace vexa::test {
namespace {

using NullStrings = RuntimeTest;

TEST_F(NullStrings, NarrowOnesAreNullPointers) {
  String string("text");
  EXPECT_EQ(strings.Create(nullptr), kNullPointer);
  EXPECT_EQ(strings.AssignBytes(nullptr, "x", 1), kNullPointer);
  EXPECT_EQ(strings.AssignText(nullptr, "x"), kNullPointer);
  EXPECT_EQ(strings.AppendText(nullptr, "x"), kNullPointer);
  EXPECT_EQ(strings.Normalise(nullptr), kNullPointer);
  EXPECT_EQ(strings.Trim(nullptr), kNullPointer);
  EXPECT_EQ(strings.Decode(string.get(), nullptr), kNullPointer);
  EXPECT_EQ(string.str(), "text");
}

TEST_F(NullStrings, WideOnesAreNullPointers) {
  WideString string(u"text");
  EXPECT_EQ(wides.Create(nullptr), kNullPointer);
  EXPECT_EQ(wides.AssignUnits(nullptr, u"x", 1), kNullPointer);
  EXPECT_EQ(wides.AssignText(nullptr, u"x"), kNullPointer);
  EXPECT_EQ(wides.AppendText(nullptr, u"x"), kNullPointer);
  EXPECT_EQ(wides.Trim(nullptr), kNullPointer);
  EXPECT_EQ(wides.FromMultiByte(nullptr, runtime::kUtf8, "x"), kNullPointer);
  EXPECT_EQ(wides.ToMultiByte(string.get(), runtime::kUtf8, nullptr), kNullPointer);
  EXPECT_EQ(string.str(), u"text");
}

}  // namespace
}  // namespace vexa::test
