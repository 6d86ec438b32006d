#include <gtest/gtest.h>

#include <cstring>
#include <ostream>

#include "runtime/runtime_fixture.h"
#include "support/exact_bytes.h"
#include "support/slot.h"
#include "support/sweep.h"

namespace vexa::test {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;

class StringTableTest : public RuntimeTest {};

// --- Texts ---

TEST_F(StringTableTest, TextDuplicateCopies) {
  const ExactText source("abc");
  char* const copy = strings.TextDuplicate(source);
  EXPECT_NE(copy, source.get());
  EXPECT_STREQ(copy, "abc");
  strings.TextRelease(copy);
}

TEST_F(StringTableTest, TextDuplicateOfNullIsNull) {
  EXPECT_EQ(strings.TextDuplicate(nullptr), nullptr);
}

TEST_F(StringTableTest, TextDuplicateOfAnEmptyTextIsABlock) {
  char* const copy = strings.TextDuplicate("");
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(*copy, '\0');
  spy.root.Free(copy);
}

struct TextOrder {
  const char* a;
  const char* b;
  int32_t order;
};

TEST_F(StringTableTest, TextCompareIsUnsignedByteOrder) {
  constexpr TextOrder kCases[] = {
      {"a", "a", 0},   {"a", "b", -1},       {"b", "a", 1},    {"a", "A", 1},
      {"a", "ab", -1}, {"ab", "a", 1},       {"\xC3", "a", 1}, {"", "", 0},
      {"", "a", -1},   {nullptr, "", -1},    {"", nullptr, 1}, {nullptr, nullptr, 0},
      {"a", "z", -1},  {"\x7F", "\x80", -1},
  };
  for (const TextOrder& test : kCases) {
    EXPECT_EQ(strings.TextCompare(test.a, test.b), test.order)
        << (test.a ? test.a : "null") << ' ' << (test.b ? test.b : "null");
  }
}

TEST_F(StringTableTest, FixedSlotsHaveTheirNumbers) {
  char* const copy = tableEntry<char*(const char*)>(&strings, 3)("x");
  EXPECT_EQ((tableEntry<int32_t(const char*, const char*)>(&strings, 5)(copy, "x")), 0);
  tableEntry<void(char*)>(&strings, 2)(copy);
}

// --- Life of a string ---

TEST_F(StringTableTest, CreateGivesAnEmptyString) {
  runtime::StringObject* string = nullptr;
  ASSERT_EQ(strings.Create(&string), kOk);
  EXPECT_EQ(string->text, nullptr);
  EXPECT_EQ(string->length, 0u);
  EXPECT_STREQ(strings.GetText(string), "");
  EXPECT_EQ(strings.AssignText(string, "abc"), kOk);
  strings.Destroy(string);
  strings.Destroy(nullptr);
  EXPECT_EQ(strings.Create(nullptr), kNullPointer);
}

TEST_F(StringTableTest, ClearLeavesNullAndZero) {
  String string("abc");
  strings.Clear(string.get());
  EXPECT_EQ(string.get()->text, nullptr);
  EXPECT_EQ(string.get()->length, 0u);
  strings.Clear(nullptr);
}

TEST_F(StringTableTest, AssignBytesCountsInnerZeroBytes) {
  String string;
  EXPECT_EQ(strings.AssignBytes(string.get(), "a\0b", 3), kOk);
  EXPECT_EQ(strings.GetLength(string.get()), 3u);
  EXPECT_EQ(string.str(), "a\0b"s);
  EXPECT_EQ(string.get()->text[3], '\0');
}

TEST_F(StringTableTest, AssignBytesReadsNoByteTooMany) {
  const ExactBytes bytes("abc"sv);
  String string;
  EXPECT_EQ(strings.AssignBytes(string.get(), bytes.data(), bytes.size()), kOk);
  EXPECT_EQ(string.str(), "abc");
}

TEST_F(StringTableTest, AssignTakesAPieceOfItself) {
  String string("abcdef");
  EXPECT_EQ(strings.AssignBytes(string.get(), string.get()->text + 2, 3), kOk);
  EXPECT_EQ(string.str(), "cde");
  EXPECT_EQ(strings.AssignText(string.get(), string.get()->text + 1), kOk);
  EXPECT_EQ(string.str(), "de");
}

TEST_F(StringTableTest, AssigningNothingEmpties) {
  String string("abc");
  EXPECT_EQ(strings.AssignBytes(string.get(), nullptr, 0), kOk);
  EXPECT_EQ(string.get()->text, nullptr);
  EXPECT_EQ(strings.AssignText(string.get(), "abc"), kOk);
  EXPECT_EQ(strings.AssignText(string.get(), nullptr), kOk);
  EXPECT_EQ(string.get()->text, nullptr);
}

TEST_F(StringTableTest, AppendJoins) {
  String string;
  EXPECT_EQ(strings.AppendText(string.get(), "ab"), kOk);
  EXPECT_EQ(strings.AppendText(string.get(), ""), kOk);
  EXPECT_EQ(strings.AppendText(string.get(), nullptr), kOk);
  EXPECT_EQ(strings.AppendText(string.get(), "cd"), kOk);
  EXPECT_EQ(string.str(), "abcd");
  EXPECT_EQ(strings.AppendText(string.get(), string.get()->text), kOk);
  EXPECT_EQ(string.str(), "abcdabcd");
}

TEST_F(StringTableTest, GetTextAndLengthBearNull) {
  EXPECT_STREQ(strings.GetText(nullptr), "");
  EXPECT_EQ(strings.GetLength(nullptr), 0u);
}

TEST_F(StringTableTest, NullStringsAreRefused) {
  String string;
  EXPECT_EQ(strings.AssignBytes(nullptr, "a", 1), kNullPointer);
  EXPECT_EQ(strings.AssignBytes(string.get(), nullptr, 1), kNullPointer);
  EXPECT_EQ(strings.AssignBytes(string.get(), "a", ~uint64_t{0}), kOutOfMemory);
  EXPECT_EQ(strings.AssignText(nullptr, "a"), kNullPointer);
  EXPECT_EQ(strings.AppendText(nullptr, "a"), kNullPointer);
  EXPECT_EQ(strings.Normalise(nullptr), kNullPointer);
  EXPECT_EQ(strings.Trim(nullptr), kNullPointer);
  EXPECT_EQ(strings.Decode(nullptr, string.get()), kNullPointer);
  EXPECT_EQ(strings.Decode(string.get(), nullptr), kNullPointer);
  EXPECT_EQ(strings.SplitFirst(nullptr, "=", string.get(), string.get()), kNullPointer);
  EXPECT_EQ(strings.SplitFirst(string.get(), nullptr, string.get(), string.get()), kNullPointer);
  EXPECT_EQ(strings.SplitFirst(string.get(), "=", nullptr, string.get()), kNullPointer);
  EXPECT_EQ(strings.SplitFirst(string.get(), "=", string.get(), nullptr), kNullPointer);
}

// --- Comparison ---

TEST_F(StringTableTest, CompareIsExact) {
  String a("host");
  String b("host");
  String c("Host");
  String zero("host\0x"sv);
  EXPECT_EQ(strings.Compare(a.get(), b.get()), 0);
  EXPECT_EQ(strings.Compare(a.get(), c.get()), 1);
  EXPECT_EQ(strings.Compare(c.get(), a.get()), -1);
  EXPECT_EQ(strings.Compare(a.get(), zero.get()), -1);
  EXPECT_EQ(strings.Compare(nullptr, a.get()), -1);
  EXPECT_EQ(strings.Compare(a.get(), nullptr), 1);
  EXPECT_EQ(strings.Compare(nullptr, nullptr), 0);
}

TEST_F(StringTableTest, CompareWithTextIgnoresLetterCase) {
  String string("ORIGIN");
  EXPECT_EQ(strings.CompareWithText(string.get(), "Origin"), 0);
  EXPECT_NE(strings.CompareWithText(string.get(), "Origi"), 0);
  EXPECT_NE(strings.CompareWithText(string.get(), "Origins"), 0);
  String bracket("[");
  EXPECT_NE(strings.CompareWithText(bracket.get(), "{"), 0);
}

// The same letter by letter.
int32_t plainOrder(std::string_view a, std::string_view b) {
  for (size_t i = 0; i < a.size() && i < b.size(); ++i) {
    const auto raise = [](char c) { return c >= 'a' && c <= 'z' ? c - 'a' + 'A' : uint8_t(c); };
    if (raise(a[i]) != raise(b[i])) {
      return raise(a[i]) < raise(b[i]) ? -1 : 1;
    }
  }
  return a.size() == b.size() ? 0 : (a.size() < b.size() ? -1 : 1);
}

TEST_F(StringTableTest, CompareWithTextTakesEveryByteAtEveryPlace) {
  for (size_t length = 1; length < 20; ++length) {
    for (size_t at = 0; at < length; ++at) {
      std::string text(length, 'm');
      String string(std::string(length, 'M'));
      for (int byte = 1; byte < 256; ++byte) {
        text[at] = static_cast<char>(byte);
        ASSERT_EQ(strings.CompareWithText(string.get(), text.c_str()),
                  plainOrder(string.str(), text))
            << length << ' ' << at << ' ' << byte;
      }
    }
  }
}

TEST_F(StringTableTest, CompareWithTextOrdersTextsOfDifferentLengths) {
  const std::string letters = "aAbBzZ[{`@\xE4\xC4";
  for (size_t length = 0; length <= letters.size(); ++length) {
    String string(letters.substr(0, length));
    for (size_t other = 0; other <= letters.size(); ++other) {
      const std::string text = letters.substr(0, other);
      ASSERT_EQ(strings.CompareWithText(string.get(), text.c_str()),
                plainOrder(string.str(), text));
    }
  }
}

TEST_F(StringTableTest, CompareWithTextSeesInnerZeroBytes) {
  String string("a\0b"sv);
  EXPECT_NE(strings.CompareWithText(string.get(), "a"), 0);
}

TEST_F(StringTableTest, AnEmptyStringEqualsAnEmptyText) {
  String string;
  EXPECT_EQ(strings.CompareWithText(string.get(), ""), 0);
  EXPECT_NE(strings.CompareWithText(string.get(), "a"), 0);
  EXPECT_EQ(strings.CompareWithText(string.get(), nullptr), 0);
  EXPECT_EQ(strings.CompareWithText(String("a").get(), nullptr), 1);
}

// --- In place ---

TEST_F(StringTableTest, NormaliseRaisesAsciiLetters) {
  String string("az-AZ09 \xC3\xA4\0y"sv);
  char* const before = string.get()->text;
  EXPECT_EQ(strings.Normalise(string.get()), kOk);
  EXPECT_EQ(string.str(), "AZ-AZ09 \xC3\xA4\0Y"s);
  EXPECT_EQ(string.get()->text, before);
  String empty;
  EXPECT_EQ(strings.Normalise(empty.get()), kOk);
}

TEST_F(StringTableTest, NormaliseTakesEveryByteAtEveryPlace) {
  std::string bytes;
  for (int byte = 0; byte < 256; ++byte) {
    bytes += static_cast<char>(byte);
  }
  std::string expected = bytes;
  for (int letter = 'a'; letter <= 'z'; ++letter) {
    expected[static_cast<size_t>(letter)] = static_cast<char>(letter - 'a' + 'A');
  }
  for (size_t start = 0; start < 9; ++start) {
    for (const size_t length : {1u, 7u, 8u, 9u, 100u, 200u, 247u}) {
      String string(bytes.substr(start, length));
      ASSERT_EQ(strings.Normalise(string.get()), kOk);
      ASSERT_EQ(string.str(), expected.substr(start, length));
    }
  }
}

struct Rewrite {
  std::string_view in;
  std::string_view out;
};

TEST_F(StringTableTest, TrimTakesFourBytesFromBothEnds) {
  constexpr Rewrite kCases[] = {
      {"a", "a"},
      {" a ", "a"},
      {"\t\r\n a b \n\r\t", "a b"},
      {"", ""},
      {" \t\r\n", ""},
      {"a ", "a"},
      {" a", "a"},
      {"\va\v", "\va\v"},
      {"\xA0"
       "a",
       "\xA0"
       "a"},
  };
  for (const Rewrite& test : kCases) {
    String string(test.in);
    EXPECT_EQ(strings.Trim(string.get()), kOk);
    EXPECT_EQ(string.str(), test.out);
    EXPECT_STREQ(strings.GetText(string.get()), std::string(test.out).c_str());
    EXPECT_EQ(string.get()->text == nullptr, test.out.empty());
  }
}

// --- Decode ---

TEST_F(StringTableTest, DecodeReplacesEscapes) {
  constexpr Rewrite kCases[] = {
      {"/a%20b", "/a b"},
      {"%3F%26%3d", "?&="},
      {"%2541", "%41"},
      {"a+b", "a+b"},
      {"%", "%"},
      {"%4", "%4"},
      {"%4g", "%4g"},
      {"%g4", "%g4"},
      {"%00", "%00"},
      {"%%41", "%A"},
      {"%C3%A4", "\xC3\xA4"},
      {"%ff", "\xFF"},
      {"", ""},
      {"a%4", "a%4"},
      {"a%", "a%"},
      {"ab%", "ab%"},
      {"%41%42%4", "AB%4"},
      {"%4%41", "%4A"},
  };
  for (const Rewrite& test : kCases) {
    String source(test.in);
    String target("old");
    EXPECT_EQ(strings.Decode(source.get(), target.get()), kOk);
    EXPECT_EQ(target.str(), test.out);
    EXPECT_EQ(source.str(), test.in);
    EXPECT_EQ(strings.Decode(source.get(), source.get()), kOk);
    EXPECT_EQ(source.str(), test.out);
  }
}

// --- Split ---

struct SplitCase {
  std::string_view source;
  const char* separator;
  int32_t result;
  std::string_view before;
  std::string_view rest;
};
constexpr SplitCase kSplits[] = {
    {"a=b", "=", 1, "a", "b"},   {"a=b=c", "=", 1, "a", "b=c"}, {"a", "=", 0, "a", ""},
    {"=b", "=", 1, "", "b"},     {"a=", "=", 1, "a", ""},       {"", "=", 0, "", ""},
    {"a::b", "::", 1, "a", "b"}, {"a", "", 0, "a", ""},         {"a:b", "::", 0, "a:b", ""},
};

TEST_F(StringTableTest, SplitFirstCutsAtTheFirstSeparator) {
  for (const SplitCase& test : kSplits) {
    String source(test.source);
    String before("old");
    String rest("old");
    EXPECT_EQ(strings.SplitFirst(source.get(), test.separator, before.get(), rest.get()),
              test.result);
    EXPECT_EQ(before.str(), test.before);
    EXPECT_EQ(rest.str(), test.rest);
    EXPECT_EQ(source.str(), test.source);
  }
}

TEST_F(StringTableTest, EitherPartMayReplaceTheSource) {
  for (const SplitCase& test : kSplits) {
    String asBefore(test.source);
    String rest;
    EXPECT_EQ(strings.SplitFirst(asBefore.get(), test.separator, asBefore.get(), rest.get()),
              test.result);
    EXPECT_EQ(asBefore.str(), test.before);
    EXPECT_EQ(rest.str(), test.rest);

    String asRest(test.source);
    String before;
    EXPECT_EQ(strings.SplitFirst(asRest.get(), test.separator, before.get(), asRest.get()),
              test.result);
    EXPECT_EQ(before.str(), test.before);
    EXPECT_EQ(asRest.str(), test.rest);
  }
}

// --- Memory ---

TEST_F(StringTableTest, FailedOperationsLeaveTheirStringsAlone) {
  String source("a=%41");
  String other("other");
  spy.failAllocationsFrom(1);
  runtime::StringObject* created = nullptr;
  EXPECT_EQ(strings.Create(&created), kOutOfMemory);
  EXPECT_EQ(created, nullptr);
  EXPECT_EQ(strings.TextDuplicate("x"), nullptr);
  EXPECT_EQ(strings.AssignBytes(source.get(), "x", 1), kOutOfMemory);
  EXPECT_EQ(strings.AssignText(source.get(), "x"), kOutOfMemory);
  EXPECT_EQ(strings.AppendText(source.get(), "x"), kOutOfMemory);
  EXPECT_EQ(strings.Decode(source.get(), other.get()), kOutOfMemory);
  EXPECT_EQ(strings.SplitFirst(source.get(), "=", source.get(), other.get()), kOutOfMemory);
  spy.allowAllocations();
  EXPECT_EQ(source.str(), "a=%41");
  EXPECT_EQ(other.str(), "other");
}

TEST_F(StringTableTest, SplitFirstLeaksNothingWhenMemoryIsShort) {
  EXPECT_EQ(sweepAllocations(spy,
                             [this] {
                               runtime::StringObject source{};
                               runtime::StringObject rest{};
                               int32_t result = strings.AssignText(&source, "a=b");
                               if (result == kOk) {
                                 result = strings.SplitFirst(&source, "=", &source, &rest);
                               }
                               EXPECT_TRUE(result == 1 || result == kOutOfMemory) << result;
                               strings.Clear(&source);
                               strings.Clear(&rest);
                               return result == 1;
                             }),
            3);
}

}  // namespace
}  // namespace vexa::test
