#include <gtest/gtest.h>

#include <set>
#include <string>

#include "json_fixture.h"
#include "parse_cases.h"

// Texts to trees.
namespace vexa::test {
namespace {

class JsonParse : public JsonTest {};

class JsonTexts : public JsonTest, public ::testing::WithParamInterface<ParseCase> {};

TEST_P(JsonTexts, AreReadOrRefused) { EXPECT_EQ(parsedTree(GetParam().text), GetParam().tree); }

INSTANTIATE_TEST_SUITE_P(Layout, JsonTexts, ::testing::ValuesIn(layoutCases()),
                         [](const auto& test) { return std::string(test.param.name); });
INSTANTIATE_TEST_SUITE_P(Content, JsonTexts, ::testing::ValuesIn(contentCases()),
                         [](const auto& test) { return std::string(test.param.name); });

// --- every byte, every place ---

constexpr std::string_view kEveryToken =
    "// c\n{ \"a\" : [ 1, -2.5, \"x\\n\\u00e9\\\"\", true, null ],\n// d\n \"b\\u0041\" : { \"\" : "
    "false }, \"c\":+3// e\n,\"d\":[[],{}]}";

TEST_F(JsonParse, RefusesEveryTruncation) {
  EXPECT_EQ(parsedTree(kEveryToken),
            "{'a':[1,-2,'x<0A><C3><A9>\"',true,null],'b\\u0041':{'':false},'c':3,'d':[[],{}]}");
  for (size_t length = 0; length < kEveryToken.size(); ++length) {
    EXPECT_EQ(parsedTree(kEveryToken.substr(0, length)), kRefused) << length;
  }
}

TEST_F(JsonParse, KnowsWhichBytesMayStandInStringsAndKeys) {
  for (int byte = 0; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    if (c == '\\') {
      continue;  // does not stand for itself
    }
    const bool isWhitespace = c == '\t' || c == '\n' || c == '\r' || c == ' ';
    const bool isPrintable = byte > 0x20 && byte < 0x7F && c != '"';
    const bool isAllowed = isWhitespace || isPrintable || (byte >= 0x80 && byte <= 0xFD);
    // At every place of a word that might be looked at as one.
    for (size_t place = 0; place < 18; ++place) {
      std::string body(17, 'x');
      body.insert(place, 1, c);
      const std::string string = R"({"a":")" + body + R"("})";
      const std::string key = R"({")" + body + R"(":7})";
      RawObject object;
      EXPECT_EQ(parse(string, object), isAllowed ? kOk : kFail) << byte << " at " << place;
      if (object) {
        EXPECT_EQ(treeOf(object).members[0].second.text, body);
      }
      EXPECT_EQ(parse(key, object), isAllowed ? kOk : kFail) << byte << " at " << place;
      if (object) {
        EXPECT_EQ(treeOf(object).members[0].first, body);
      }
    }
  }
}

TEST_F(JsonParse, KnowsWhichBytesMayFollowABackslash) {
  static constexpr std::string_view kLetters = "\"/\\bfnrt";
  static constexpr std::string_view kMeanings = "\"/\\\b\f\n\r\t";
  for (int byte = 0; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    const std::string body = std::string("x\\") + c + "y";
    const std::string string = R"({"a":")" + body + R"("})";
    const std::string key = R"({")" + body + R"(":7})";
    RawObject object;
    const size_t letter = kLetters.find(c);
    ASSERT_EQ(parse(string, object), letter != std::string_view::npos ? kOk : kFail) << byte;
    if (object) {
      EXPECT_EQ(treeOf(object).members[0].second.text, std::string("x") + kMeanings[letter] + "y");
    }
    ASSERT_EQ(parse(key, object), byte < 0x80 && c != '\r' && c != '\n' ? kOk : kFail) << byte;
    if (object) {
      EXPECT_EQ(treeOf(object).members[0].first, body);
    }
  }
}

TEST_F(JsonParse, KnowsWhatIsWhitespace) {
  for (int byte = 0; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    const bool isWhitespace = c == '\t' || c == '\n' || c == '\r' || c == ' ';
    const std::string text = std::string("{\"a\"") + c + ":1}";
    EXPECT_EQ(parsedTree(text), isWhitespace ? "{'a':1}" : kRefused) << byte;
  }
}

TEST_F(JsonParse, KnowsWhichDigitsAreHexadecimal) {
  for (int byte = 0; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    const bool isDigit = std::string_view("0123456789abcdefABCDEF").find(c) != std::string::npos;
    for (size_t place = 0; place < 4; ++place) {
      std::string digits = "0123";
      digits[place] = c;
      RawObject object;
      EXPECT_EQ(parse(R"({"a":"\u)" + digits + R"("})", object), isDigit ? kOk : kFail)
          << byte << " at " << place;
    }
  }
}

TEST_F(JsonParse, DecodesEscapesAtEveryPlace) {
  for (size_t before = 0; before < 40; ++before) {
    for (size_t behind = 0; behind < 20; ++behind) {
      const std::string text =
          std::string(before, 'a') + R"(\n\u00e9)" + std::string(behind, 'b') + R"(\\)";
      EXPECT_EQ(holding(text).getStringPtr("a"),
                std::string(before, 'a') + "\n\xC3\xA9" + std::string(behind, 'b') + "\\");
    }
  }
}

TEST_F(JsonParse, ReadsEveryCodeUnit) {
  static constexpr char kDigits[] = "0123456789abcdef";
  for (uint32_t unit = 0; unit < 0x10000; unit += unit < 0x900 ? 1 : 251) {
    std::string expected;
    if (unit < 0x80) {
      expected += static_cast<char>(unit);
    } else if (unit < 0x800) {
      expected += {static_cast<char>(0xC0 + unit / 64), static_cast<char>(0x80 + unit % 64)};
    } else {
      expected += {static_cast<char>(0xE0 + unit / 4096), static_cast<char>(0x80 + unit / 64 % 64),
                   static_cast<char>(0x80 + unit % 64)};
    }
    const std::string escape = {'\\',
                                'u',
                                kDigits[unit >> 12],
                                kDigits[unit >> 8 & 15],
                                kDigits[unit >> 4 & 15],
                                kDigits[unit & 15]};
    EXPECT_EQ(treeOf(holding(escape)).members[0].second.text, expected) << escape;
  }
}

TEST_F(JsonParse, ReadsLongStringsWhole) {
  const std::string body(100'000, 'x');
  EXPECT_EQ(holding(body + R"(\n)").getStringPtr("a"), body + "\n");
}

TEST_F(JsonParse, StringsAreZeroTerminatedWhereTheyStand) {
  const RawObject object = parsed(R"({"a":"one","bc":"t\u0077o","d":["three"]})");
  EXPECT_STREQ(object.getStringPtr("a"), "one");
  EXPECT_STREQ(object.getStringPtr("bc"), "two");
  EXPECT_STREQ(object.getKeyPtrAt(1), "bc");
  RawArray array;
  ASSERT_EQ(object.getArray("d", array.put()), kOk);
  EXPECT_STREQ(array.getStringPtrAt(0), "three");
}

TEST_F(JsonParse, LeavesTheTextAsItIs) {
  const std::string_view text = R"({"key":"a\nb","key":[1]} rest)";
  const ExactBytes input(text);
  const runtime::ByteBuffer record = input.buffer();
  RawObject object;
  ASSERT_EQ(parse(&record, object.put()), kOk);
  EXPECT_EQ(std::string_view(reinterpret_cast<const char*>(input.data()), input.size()), text);
}

TEST_F(JsonParse, KeepsNothingOfTheCallersText) {
  RawObject object;
  {
    const ExactBytes input(R"({"key":"value"})");
    const runtime::ByteBuffer record = input.buffer();
    ASSERT_EQ(parse(&record, object.put()), kOk);
  }
  EXPECT_STREQ(object.getStringPtr("key"), "value");
}

TEST_F(JsonParse, ManyEqualKeysKeepTheFirst) {
  std::string text = "{";
  for (int i = 0; i < 500; ++i) {
    text += "\"k" + std::to_string(i % 100) + "\":" + std::to_string(i) + ",";
  }
  const RawObject object = parsed(text + "\"last\":-1}");
  ASSERT_EQ(object.getCount(), 101u);
  for (int i = 0; i < 100; ++i) {
    int32_t value = -1;
    EXPECT_EQ(object.getInteger(("k" + std::to_string(i)).c_str(), &value), kOk);
    EXPECT_EQ(value, i);
  }
}

// --- nesting ---

std::string repeated(std::string_view piece, uint32_t times) {
  std::string text;
  for (uint32_t i = 0; i < times; ++i) {
    text += piece;
  }
  return text;
}

std::string nestedObjects(uint32_t depth) {
  return repeated(R"({"a":)", depth - 1) + "{}" + repeated("}", depth - 1);
}

std::string nestedArrays(uint32_t depth) {  // the object around them included
  return R"({"a":)" + repeated("[", depth - 1) + repeated("]", depth - 1) + "}";
}

TEST_F(JsonParse, ReadsObjectsNestedToTheLimit) {
  RawObject object = parsed(nestedObjects(512));
  uint32_t depth = 1;
  for (RawObject inner; object.getObject("a", inner.put()) == kOk; ++depth) {
    object = std::move(inner);
  }
  EXPECT_EQ(depth, 512u);
}

TEST_F(JsonParse, RefusesObjectsNestedDeeper) {
  EXPECT_EQ(parsedTree(nestedObjects(513)), kRefused);
}

TEST_F(JsonParse, ReadsArraysNestedToTheLimit) {
  EXPECT_EQ(parsedTree(nestedArrays(512)), "{'a':" + repeated("[", 511) + repeated("]", 511) + "}");
}

TEST_F(JsonParse, RefusesArraysNestedDeeper) { EXPECT_EQ(parsedTree(nestedArrays(513)), kRefused); }

TEST_F(JsonParse, CountsObjectsAndArraysTogether) {
  const auto mixed = [](uint32_t pairs, std::string_view middle) {
    return repeated(R"({"a":[)", pairs) + std::string(middle) + repeated("]}", pairs);
  };
  EXPECT_NE(parsedTree(mixed(256, "1")), kRefused);
  EXPECT_EQ(parsedTree(mixed(256, "[]")), kRefused);
  EXPECT_EQ(parsedTree(mixed(256, "{}")), kRefused);
}

TEST_F(JsonParse, CountsDepthAndNotNumber) {
  const std::string deep = repeated("[", 510) + repeated("]", 510);
  EXPECT_NE(parsedTree(R"({"a":[)" + repeated(deep + ",", 4) + deep + R"(],"b":)" + deep + "}"),
            kRefused);
  EXPECT_NE(parsedTree(R"({"a":[)" + repeated("{},[],", 1000) + "1]}"), kRefused);
}

TEST_F(JsonParse, RefusesDepthWithoutAnEnd) {
  EXPECT_EQ(parsedTree(repeated(R"({"a":)", 100'000)), kRefused);
  EXPECT_EQ(parsedTree(R"({"a":)" + repeated("[", 1'000'000)), kRefused);
}

// --- arguments ---

TEST_F(JsonParse, RefusesNullArguments) {
  const ExactBytes input("{}");
  const runtime::ByteBuffer record = input.buffer();
  EXPECT_EQ(parse(&record, nullptr), kInvalidArgument);
  EXPECT_EQ(parse(nullptr, nullptr), kInvalidArgument);
  void* object = this;
  EXPECT_EQ(parse(nullptr, &object), kInvalidArgument);
  EXPECT_EQ(object, nullptr);
}

TEST_F(JsonParse, RefusesARecordOfNothing) {
  const runtime::ByteBuffer record{};
  void* object = this;
  EXPECT_EQ(parse(&record, &object), kFail);
  EXPECT_EQ(object, nullptr);
}

TEST_F(JsonParse, HandsOutNullForARefusedText) {
  const ExactBytes input(R"({"a":[1,{"b":"c)");
  const runtime::ByteBuffer record = input.buffer();
  void* object = this;
  EXPECT_EQ(parse(&record, &object), kFail);
  EXPECT_EQ(object, nullptr);
}

TEST_F(JsonParse, CasesAreManyAndDiffer) {
  std::set<std::string_view> texts;
  size_t refused = 0;
  for (const auto cases : {layoutCases(), contentCases()}) {
    for (const ParseCase& value : cases) {
      EXPECT_TRUE(texts.insert(value.text).second) << value.name;
      refused += value.tree == kRefused ? 1 : 0;
    }
  }
  EXPECT_GE(texts.size() - refused, 100u);
  EXPECT_GE(refused, 100u);
}

}  // namespace
}  // namespace vexa::test
