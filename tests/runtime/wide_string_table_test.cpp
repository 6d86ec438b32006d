#include <gtest/gtest.h>

#include "runtime/runtime_fixture.h"
#include "support/exact_bytes.h"
#include "support/sweep.h"

namespace vexa::test {
namespace {

using namespace std::string_view_literals;

class WideStringTableTest : public RuntimeTest {};

TEST_F(WideStringTableTest, TextsAreDuplicatedAndCompared) {
  const ExactWideText source(u"abc");
  char16_t* const copy = wides.TextDuplicate(source);
  EXPECT_EQ(std::u16string(copy), u"abc");
  EXPECT_EQ(wides.TextCompare(copy, u"abc"), 0);
  EXPECT_EQ(wides.TextCompare(copy, u"abd"), -1);
  EXPECT_EQ(wides.TextCompare(u"\uFFFD", copy), 1);
  EXPECT_EQ(wides.TextCompare(nullptr, copy), -1);
  wides.TextRelease(copy);
  EXPECT_EQ(wides.TextDuplicate(nullptr), nullptr);
}

TEST_F(WideStringTableTest, LengthsCountUnits) {
  WideString string(u"\U0001F600a");
  EXPECT_EQ(wides.GetLength(string.get()), 3u);
  EXPECT_EQ(wides.GetText(string.get())[3], u'\0');
  EXPECT_EQ(wides.GetText(nullptr)[0], u'\0');
}

TEST_F(WideStringTableTest, StringsAreMadeAndDropped) {
  runtime::WideStringObject* string = nullptr;
  ASSERT_EQ(wides.Create(&string), kOk);
  EXPECT_EQ(wides.AssignText(string, u"ab"), kOk);
  EXPECT_EQ(wides.AppendText(string, u"cd"), kOk);
  EXPECT_EQ(std::u16string(wides.GetText(string)), u"abcd");
  wides.Destroy(string);
}

TEST_F(WideStringTableTest, CompareIsExact) {
  WideString a(u"host");
  WideString b(u"host");
  WideString c(u"HOST");
  EXPECT_EQ(wides.Compare(a.get(), b.get()), 0);
  EXPECT_EQ(wides.Compare(a.get(), c.get()), 1);
}

TEST_F(WideStringTableTest, TrimAndSplitWorkOnUnits) {
  WideString string(u"\t a=b \r\n");
  EXPECT_EQ(wides.Trim(string.get()), kOk);
  EXPECT_EQ(string.str(), u"a=b");
  WideString rest;
  EXPECT_EQ(wides.SplitFirst(string.get(), u"=", string.get(), rest.get()), 1);
  EXPECT_EQ(string.str(), u"a");
  EXPECT_EQ(rest.str(), u"b");
}

TEST_F(WideStringTableTest, FindGivesTheFirstExactPlace) {
  WideString string(u"http=a;HTTP=b;http=c");
  EXPECT_EQ(wides.Find(string.get(), u"http=", 0), 0u);
  EXPECT_EQ(wides.Find(string.get(), u"http=", 1), 14u);
  EXPECT_EQ(wides.Find(string.get(), u"HTTP=", 0), 7u);
  EXPECT_EQ(wides.Find(string.get(), u"ftp=", 0), runtime::kNotFound);
  EXPECT_EQ(wides.Find(string.get(), u"h", 100), runtime::kNotFound);
  EXPECT_EQ(wides.Find(nullptr, u"h", 0), runtime::kNotFound);
  EXPECT_EQ(wides.Find(string.get(), nullptr, 0), runtime::kNotFound);
}

struct WildcardCase {
  std::u16string_view host;
  const char16_t* pattern;
  int32_t matches;
};

TEST_F(WideStringTableTest, WildcardsCoverTheWholeHost) {
  const WildcardCase kCases[] = {
      {u"a.example", u"a.example", 1},
      {u"A.Example", u"a.eXAMPLE", 1},
      {u"a.example", u"*.example", 1},
      {u"a.example", u"*", 1},
      {u"", u"*", 1},
      {u"", u"", 1},
      {u"a", u"", 0},
      {u"", u"?", 0},
      {u"a", u"?", 1},
      {u"ab", u"?", 0},
      {u"a.example", u"a.*", 1},
      {u"a.example", u"*.example.*", 0},
      {u"a.b.example", u"*.b.*e", 1},
      {u"example", u"*.example", 0},
      {u"a.example", u"a.example ", 0},
      {u"a.example", u" a.example", 0},
      {u"aXbXc", u"a*x*c", 1},
      {u"abcbd", u"a*b?", 1},
      {u"a.example", u"a.exampl", 0},
      {u"a.example", u"a.example.", 0},
      {u"<local>", u"<local>", 1},
      {u"intranet", u"<local>", 0},
      {u"aab", u"*ab", 1},
      {u"a", u"**a**", 1},
      {u"\u00E4", u"\u00C4", 0},
  };
  for (const WildcardCase& test : kCases) {
    WideString host(test.host);
    EXPECT_EQ(wides.WildcardMatch(host.get(), test.pattern), test.matches)
        << testing::PrintToString(std::u16string(test.host)) << ' '
        << testing::PrintToString(std::u16string(test.pattern));
  }
}

TEST_F(WideStringTableTest, WildcardsMatchNothingWithoutAPattern) {
  WideString host(u"a");
  EXPECT_EQ(wides.WildcardMatch(host.get(), nullptr), 0);
  EXPECT_EQ(wides.WildcardMatch(nullptr, u"*"), 0);
}

TEST_F(WideStringTableTest, ALongRunOfStarsEndsSoon) {
  WideString host(std::u16string(200, u'a'));
  std::u16string pattern;
  for (int i = 0; i < 100; ++i) {
    pattern += u"*a";
  }
  EXPECT_EQ(wides.WildcardMatch(host.get(), (pattern + u"b").c_str()), 0);
  EXPECT_EQ(wides.WildcardMatch(host.get(), pattern.c_str()), 1);
}

// --- Conversions ---

struct Conversion {
  std::string_view narrow;
  std::u16string_view wide;
};

TEST_F(WideStringTableTest, Utf8AndUtf16ConvertBothWays) {
  const Conversion kCases[] = {
      {"", u""},
      {"Jane (user)", u"Jane (user)"},
      {"\xC3\xA4", u"\u00E4"},
      {"\xE2\x82\xAC", u"\u20AC"},
      {"\xED\x9F\xBF", u"\uD7FF"},
      {"\xEE\x80\x80", u"\uE000"},
      {"\xEF\xBF\xBF", u"\uFFFF"},
      {"\xF0\x90\x80\x80", u"\U00010000"},
      {"\xF0\x9F\x98\x80", u"\U0001F600"},
      {"\xF4\x8F\xBF\xBF", u"\U0010FFFF"},
      {"\xDF\xBF\xE0\xA0\x80", u"\u07FF\u0800"},
  };
  for (const Conversion& test : kCases) {
    WideString wide(u"old");
    const ExactText text(test.narrow);
    EXPECT_EQ(wides.FromMultiByte(wide.get(), runtime::kUtf8, text), kOk);
    EXPECT_EQ(wide.str(), test.wide);
    String narrow("old");
    EXPECT_EQ(wides.ToMultiByte(wide.get(), runtime::kUtf8, narrow.get()), kOk);
    EXPECT_EQ(narrow.str(), test.narrow);
  }
}

TEST_F(WideStringTableTest, EveryCodePointConvertsBothWays) {
  constexpr uint32_t kLast = 0x10FFFF;
  for (uint32_t block = 0; block <= kLast; block += 0x800) {
    if (block == 0xD800) {
      continue;  // surrogates
    }
    std::string narrow;
    std::u16string wide;
    for (uint32_t point = block == 0 ? 1 : block; point < block + 0x800; ++point) {
      const auto tail = [&](int shift) {
        narrow += static_cast<char>(0x80 + (point >> shift) % 0x40);
      };
      if (point < 0x80) {
        narrow += static_cast<char>(point);
      } else if (point < 0x800) {
        narrow += static_cast<char>(0xC0 + (point >> 6));
      } else if (point < 0x10000) {
        narrow += static_cast<char>(0xE0 + (point >> 12));
        tail(6);
      } else {
        narrow += static_cast<char>(0xF0 + (point >> 18));
        tail(12);
        tail(6);
      }
      if (point >= 0x80) {
        tail(0);
      }
      if (point >= 0x10000) {
        wide += static_cast<char16_t>(0xD7C0 + (point >> 10));
        wide += static_cast<char16_t>(0xDC00 + point % 0x400);
      } else {
        wide += static_cast<char16_t>(point);
      }
    }
    WideString there;
    ASSERT_EQ(wides.FromMultiByte(there.get(), runtime::kUtf8, narrow.c_str()), kOk);
    EXPECT_TRUE(there.str() == wide) << "from U+" << std::hex << block;
    String back;
    ASSERT_EQ(wides.ToMultiByte(there.get(), runtime::kUtf8, back.get()), kOk);
    EXPECT_TRUE(back.str() == narrow) << "from U+" << std::hex << block;
  }
}

// Table 3-7 of the Unicode standard: which second byte goes on after a first one. What goes on is
// one piece, replaced once; what does not is two.
TEST_F(WideStringTableTest, TheSecondByteDependsOnTheFirst) {
  struct Row {
    int firstFrom, firstTo, secondFrom, secondTo;
  };
  constexpr Row kRows[] = {
      {0xE0, 0xE0, 0xA0, 0xBF}, {0xE1, 0xEC, 0x80, 0xBF}, {0xED, 0xED, 0x80, 0x9F},
      {0xEE, 0xEF, 0x80, 0xBF}, {0xF0, 0xF0, 0x90, 0xBF}, {0xF1, 0xF3, 0x80, 0xBF},
      {0xF4, 0xF4, 0x80, 0x8F},
  };
  for (int first = 0x80; first <= 0xFF; ++first) {
    for (int second = 0x80; second <= 0xFF; ++second) {
      bool goesOn = first >= 0xC2 && first <= 0xDF && second <= 0xBF;
      for (const Row& row : kRows) {
        goesOn = goesOn || (first >= row.firstFrom && first <= row.firstTo &&
                            second >= row.secondFrom && second <= row.secondTo);
      }
      const char text[] = {static_cast<char>(first), static_cast<char>(second), '\0'};
      WideString wide;
      ASSERT_EQ(wides.FromMultiByte(wide.get(), runtime::kUtf8, text), kOk);
      EXPECT_EQ(wide.str().size(), goesOn ? 1u : 2u) << std::hex << first << " " << second;
    }
  }
}

TEST_F(WideStringTableTest, InvalidUtf8IsReplaced) {
  const Conversion kCases[] = {
      {"a\x80z", u"a\uFFFDz"},
      {"\xC3", u"\uFFFD"},
      {"\xC3z", u"\uFFFDz"},
      {"\xC0\x80", u"\uFFFD\uFFFD"},                      // overlong
      {"\xE0\x9F\xBF", u"\uFFFD\uFFFD\uFFFD"},            // overlong
      {"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},            // a surrogate
      {"\xE1\x7F\x80", u"\uFFFD\x7F\uFFFD"},              // no second byte
      {"\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},  // above U+10FFFF
      {"\xF5", u"\uFFFD"},
      {"\xE2\x82z", u"\uFFFDz"},
      {"\xF0\x9F\x98", u"\uFFFD"},
      {"\xFF\xFE", u"\uFFFD\uFFFD"},
  };
  for (const Conversion& test : kCases) {
    WideString wide;
    const ExactText text(test.narrow);
    EXPECT_EQ(wides.FromMultiByte(wide.get(), runtime::kUtf8, text), kOk);
    EXPECT_EQ(wide.str(), test.wide);
  }
}

TEST_F(WideStringTableTest, LoneSurrogatesAreReplaced) {
  constexpr char16_t kUnits[] = {0xDC00, u'a', 0xD800, u'b', 0xD800};
  WideString wide(std::u16string_view(kUnits, 5));
  String narrow;
  EXPECT_EQ(wides.ToMultiByte(wide.get(), runtime::kUtf8, narrow.get()), kOk);
  EXPECT_EQ(narrow.str(),
            "\xEF\xBF\xBD"
            "a\xEF\xBF\xBD"
            "b\xEF\xBF\xBD");
}

TEST_F(WideStringTableTest, OtherCodePagesAreRefused) {
  WideString wide(u"a");
  String narrow;
  EXPECT_EQ(wides.FromMultiByte(wide.get(), 1252, "b"), kInvalidArgument);
  EXPECT_EQ(wides.ToMultiByte(wide.get(), 1252, narrow.get()), kInvalidArgument);
  EXPECT_EQ(wide.str(), u"a");
}

TEST_F(WideStringTableTest, NullStringsAreRefused) {
  WideString wide;
  String narrow;
  EXPECT_EQ(wides.FromMultiByte(nullptr, runtime::kUtf8, "a"), kNullPointer);
  EXPECT_EQ(wides.ToMultiByte(nullptr, runtime::kUtf8, narrow.get()), kNullPointer);
  EXPECT_EQ(wides.ToMultiByte(wide.get(), runtime::kUtf8, nullptr), kNullPointer);
  EXPECT_EQ(wides.AssignUnits(nullptr, u"a", 1), kNullPointer);
  EXPECT_EQ(wides.Create(nullptr), kNullPointer);
  EXPECT_EQ(wides.AssignUnits(wide.get(), nullptr, 1), kNullPointer);
}

TEST_F(WideStringTableTest, FailedConversionsLeaveTheirTargetAlone) {
  WideString wide(u"old");
  String narrow("old");
  spy.failAllocationsFrom(1);
  EXPECT_EQ(wides.FromMultiByte(wide.get(), runtime::kUtf8, "new"), kOutOfMemory);
  EXPECT_EQ(wides.ToMultiByte(wide.get(), runtime::kUtf8, narrow.get()), kOutOfMemory);
  spy.allowAllocations();
  EXPECT_EQ(wide.str(), u"old");
  EXPECT_EQ(narrow.str(), "old");
}

// Two units at a time, at the ends of the ranges of surrogates.
TEST_F(WideStringTableTest, OnlyAHighAndALowSurrogateAreOneCharacter) {
  constexpr char16_t kUnits[] = {u'a', 0xD7FF, 0xD800, 0xDBFF, 0xDC00, 0xDFFF, 0xE000};
  const auto isHigh = [](char16_t unit) { return unit == 0xD800 || unit == 0xDBFF; };
  const auto isLow = [](char16_t unit) { return unit == 0xDC00 || unit == 0xDFFF; };
  const auto alone = [&](char16_t unit) -> std::string {
    return isHigh(unit) || isLow(unit) ? "\xEF\xBF\xBD"
           : unit == u'a'              ? "a"
           : unit == 0xE000            ? "\xEE\x80\x80"
                                       : "\xED\x9F\xBF";
  };
  for (const char16_t first : kUnits) {
    for (const char16_t second : kUnits) {
      const char16_t both[] = {first, second};
      WideString wide(std::u16string_view(both, 2));
      String narrow;
      ASSERT_EQ(wides.ToMultiByte(wide.get(), runtime::kUtf8, narrow.get()), kOk);
      if (isHigh(first) && isLow(second)) {
        EXPECT_EQ(narrow.str().size(), 4u);
        EXPECT_EQ(narrow.str()[0], first == 0xD800 ? '\xF0' : '\xF4');
      } else {
        EXPECT_EQ(narrow.str(), alone(first) + alone(second)) << std::hex << +first << +second;
      }
    }
  }
}

}  // namespace
}  // namespace vexa::test
