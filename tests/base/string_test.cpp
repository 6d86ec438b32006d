#include "base/string.h"

#include <gtest/gtest.h>

#include <utility>

#include "support/bound_fixture.h"

namespace vexa::test {
namespace {

using base::String;
using base::WideString;

int cleared = 0;

class Strings : public BoundTest {
 protected:
  Strings() {
    static void (*clear)(runtime::StringObject*) = nullptr;
    clear = spy.strings.Clear;
    cleared = 0;
    spy.strings.Clear = [](runtime::StringObject* string) {
      ++cleared;
      clear(string);
    };
  }
};

TEST_F(Strings, AreClearedOnceWhenTheyGo) {
  {
    String text;
    EXPECT_EQ(text.assign("text"), kOk);
    EXPECT_EQ(text.append(" and more"), kOk);
    EXPECT_STREQ(text.text(), "text and more");
    EXPECT_EQ(text.view(), "text and more");
    EXPECT_EQ(cleared, 0);
  }
  EXPECT_EQ(cleared, 1);
}

TEST_F(Strings, WithoutATextAreNotCleared) {
  { const String text; }
  EXPECT_EQ(cleared, 0);
}

TEST_F(Strings, MoveWithoutACopy) {
  String from;
  ASSERT_EQ(from.assign("text"), kOk);
  const char* const text = from.text();
  String to(std::move(from));
  EXPECT_EQ(to.text(), text);
  EXPECT_TRUE(from.empty());  // NOLINT(bugprone-use-after-move): empty is what it is now
  String third;
  third = std::move(to);
  EXPECT_EQ(third.text(), text);
  EXPECT_EQ(cleared, 0);
}

TEST_F(Strings, ThatAreReplacedAreNotLost) {
  String from;
  String to;
  ASSERT_EQ(from.assign("new"), kOk);
  ASSERT_EQ(to.assign("old"), kOk);
  to = std::move(from);
  EXPECT_STREQ(to.text(), "new");
}

TEST_F(Strings, SplitIntoWhatStandsBeforeAndTheRest) {
  String list;
  String before;
  ASSERT_EQ(list.assign("a;b;c"), kOk);
  EXPECT_EQ(list.splitFirst(";", before, list), 1) << "the rest may be the string itself";
  EXPECT_STREQ(before.text(), "a");
  EXPECT_STREQ(list.text(), "b;c");
  EXPECT_EQ(list.splitFirst("|", before, list), 0);
  EXPECT_STREQ(before.text(), "b;c");
  EXPECT_TRUE(list.empty());
}

TEST_F(Strings, AreEqualWhenTheStringComponentSaysSo) {
  String a;
  String b;
  ASSERT_EQ(a.assign("text"), kOk);
  ASSERT_EQ(b.assign("text"), kOk);
  EXPECT_TRUE(a.equals(b));
  for (const int32_t unequal : {-1, 1}) {
    static int32_t answer = 0;
    answer = unequal;
    spy.strings.Compare = [](const auto*, const auto*) { return answer; };
    EXPECT_FALSE(a.equals(b)) << unequal;
  }
}

TEST_F(Strings, OfWideUnitsAreMadeFromUtf8AndBack) {
  WideString wide;
  String narrow;
  ASSERT_EQ(wide.fromUtf8("a\xE2\x82\xAC"), kOk);
  EXPECT_EQ(wide.view(), u"a\u20AC");
  ASSERT_EQ(wide.toUtf8(narrow), kOk);
  EXPECT_STREQ(narrow.text(), "a\xE2\x82\xAC");
}

TEST_F(Strings, AreSearchedFromAPlace) {
  WideString wide;
  ASSERT_EQ(wide.assign(u"a=b=c"), kOk);
  EXPECT_EQ(wide.find(u"="), 1u);
  EXPECT_EQ(wide.find(u"=", 2), 3u);
  EXPECT_EQ(wide.find(u"=", 4), runtime::kNotFound);
}

TEST_F(Strings, MatchAPatternWithTheAnswer1Alone) {
  WideString wide;
  for (const int32_t other : {kFail, 0, 1, 2}) {
    static int32_t answer = 0;
    answer = other;
    spy.wideStrings.WildcardMatch = [](const auto*, const char16_t*) { return answer; };
    EXPECT_EQ(wide.wildcardMatch(u"*"), other == 1) << other;
  }
}

}  // namespace
}  // namespace vexa::test
