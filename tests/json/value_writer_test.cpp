#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "io_log.h"
#include "json_fixture.h"
#include "parse_cases.h"

// Trees to texts.
namespace vexa::test {
namespace {

using ::testing::ElementsAre;
using ::testing::Gt;
using ::testing::SizeIs;

class JsonWrite : public JsonTest {};

// --- layout ---

struct WriteCase {
  const char* name;
  std::string_view text;     // parsed
  std::string_view written;  // and written again
};
void PrintTo(const WriteCase& value, std::ostream* out) { *out << value.text; }

constexpr WriteCase kWriteCases[] = {
    {"EmptyObject", "{}", "{\n\n}\n"},
    {"OneNumber", R"({"a":1})", "{\n\"a\" : 1\n}\n"},
    {"TwoMembers", R"({"a":1,"b":2})", "{\n\"a\" : 1,\n\"b\" : 2\n}\n"},
    {"EmptyKey", R"({"":1})", "{\n\"\" : 1\n}\n"},
    {"String", R"({"a":"b"})", "{\n\"a\" : \"b\"\n}\n"},
    {"EmptyString", R"({"a":""})", "{\n\"a\" : \"\"\n}\n"},
    {"True", R"({"a":true})", "{\n\"a\" : true\n}\n"},
    {"False", R"({"a":false})", "{\n\"a\" : false\n}\n"},
    {"Null", R"({"a":null})", "{\n\"a\" : null\n}\n"},
    {"Zero", R"({"a":-0})", "{\n\"a\" : 0\n}\n"},
    {"Negative", R"({"a":-17})", "{\n\"a\" : -17\n}\n"},
    {"LargestNumber", R"({"a":2147483647})", "{\n\"a\" : 2147483647\n}\n"},
    {"SmallestNumber", R"({"a":-2147483648})", "{\n\"a\" : -2147483648\n}\n"},
    {"FractionIsGone", R"({"a":+3.99})", "{\n\"a\" : 3\n}\n"},
    {"EmptyArray", R"({"a":[]})", "{\n\"a\" : [\n\n]\n\n}\n"},
    {"OneElement", R"({"a":[1]})", "{\n\"a\" : [\n1\n]\n\n}\n"},
    {"Elements", R"({"a":[1,"b",null]})", "{\n\"a\" : [\n1,\n\"b\",\nnull\n]\n\n}\n"},
    {"EmptyObjectInside", R"({"a":{}})", "{\n\"a\" : {\n\n}\n\n}\n"},
    {"NestedObject", R"({"a":{"b":1}})", "{\n\"a\" : {\n\"b\" : 1\n}\n\n}\n"},
    {"NestedObjectAndAnotherMember", R"({"a":{"b":1},"c":2})",
     "{\n\"a\" : {\n\"b\" : 1\n}\n,\n\"c\" : 2\n}\n"},
    {"NestedArrayAndAnotherMember", R"({"a":[1],"c":2})", "{\n\"a\" : [\n1\n]\n,\n\"c\" : 2\n}\n"},
    {"EmptyObjectsInAnArray", R"({"a":[{},{}]})", "{\n\"a\" : [\n{\n\n}\n,\n{\n\n}\n\n]\n\n}\n"},
    {"ArraysInArrays", R"({"a":[[1],[]]})", "{\n\"a\" : [\n[\n1\n]\n,\n[\n\n]\n\n]\n\n}\n"},
    {"NoIndentationAtAnyDepth", R"({"a":{"b":{"c":[{"d":1}]}}})",
     "{\n\"a\" : {\n\"b\" : {\n\"c\" : [\n{\n\"d\" : 1\n}\n\n]\n\n}\n\n}\n\n}\n"},
    {"RepeatedKeyIsGone", R"({"a":1,"a":2})", "{\n\"a\" : 1\n}\n"},
    {"EscapedKeyGetsAnotherBackslash", R"({"a\nb":1})", "{\n\"a\\\\nb\" : 1\n}\n"},
    {"UnitInAKeyGetsAnotherBackslash", R"({"\u0041":1})", "{\n\"\\\\u0041\" : 1\n}\n"},
    {"QuoteInAKeyGetsTwoMore", R"({"a\"":1})", "{\n\"a\\\\\\\"\" : 1\n}\n"},
    {"SlashInAKey", R"({"a/b":1})", "{\n\"a\\/b\" : 1\n}\n"},
    {"RawTabInAKey", "{\"\t\":1}", "{\n\"\\t\" : 1\n}\n"},
};

class JsonLayout : public JsonTest, public ::testing::WithParamInterface<WriteCase> {};

TEST_P(JsonLayout, IsWritten) { EXPECT_EQ(textOf(parsed(GetParam().text)), GetParam().written); }

INSTANTIATE_TEST_SUITE_P(All, JsonLayout, ::testing::ValuesIn(kWriteCases),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_F(JsonWrite, WritesWhatTheSettersMade) {
  const RawObject object = createObject();
  EXPECT_EQ(object.setInteger("n", -1), kOk);
  EXPECT_EQ(object.setBool("t", 1), kOk);
  EXPECT_EQ(object.setNull("z"), kOk);
  RawObject inner;
  EXPECT_EQ(object.addObject("o", inner.put()), kOk);
  EXPECT_EQ(inner.setString("s", "x/y"), kOk);
  RawArray array;
  EXPECT_EQ(object.addArray("a", array.put()), kOk);
  EXPECT_EQ(array.setBoolAt(0, 0), kOk);
  EXPECT_EQ(textOf(object),
            "{\n\"n\" : -1,\n\"t\" : true,\n\"z\" : null,\n\"o\" : {\n\"s\" : \"x\\/y\"\n}\n,\n"
            "\"a\" : [\nfalse\n]\n\n}\n");
  EXPECT_EQ(textOf(inner), "{\n\"s\" : \"x\\/y\"\n}\n");
}

TEST_F(JsonWrite, WritesTheSameAgain) {
  const RawObject object = parsed(R"({"a":[1,{"b":"c"}]})");
  const std::string first = textOf(object);
  EXPECT_EQ(textOf(object), first);
}

// --- strings ---

std::string escaped(uint8_t byte) {
  static constexpr std::string_view kBytes = "\b\t\n\f\r\"/\\";
  static constexpr std::string_view kLetters = "btnfr\"/\\";
  if (const size_t at = kBytes.find(static_cast<char>(byte)); at != std::string_view::npos) {
    return {'\\', kLetters[at]};
  }
  if (byte < 0x20) {
    const std::string decimal = std::to_string(byte);
    return "\\u" + std::string(4 - decimal.size(), '0') + decimal;
  }
  return {static_cast<char>(byte)};
}

TEST_F(JsonWrite, EscapesEveryByteOfAString) {
  const RawObject object = createObject();
  for (int byte = 1; byte < 256; ++byte) {
    // At every place of a word that might be looked at as one, in strings of every short length.
    for (size_t length = 0; length < 18; ++length) {
      for (size_t place = 0; place <= length; ++place) {
        const std::string before = std::string("abcdefghijklmnopqr").substr(0, place);
        const std::string behind = std::string("ABCDEFGHIJKLMNOPQR").substr(place, length - place);
        ASSERT_EQ(object.setString("a", (before + static_cast<char>(byte) + behind).c_str()), kOk);
        ASSERT_EQ(textOf(object), "{\n\"a\" : \"" + before + escaped(static_cast<uint8_t>(byte)) +
                                      behind + "\"\n}\n");
      }
    }
  }
}

TEST_F(JsonWrite, NumbersOfEveryLength) {
  const RawObject object = createObject();
  int64_t power = 1;
  for (int digits = 1; digits <= 10; ++digits, power *= 10) {
    for (const int64_t number : {power - 1, power, power + 1, power / 3 * 4, power * 2}) {
      for (const int64_t signedNumber : {number, -number}) {
        const auto value = static_cast<int32_t>(signedNumber);
        ASSERT_EQ(object.setInteger("a", value), kOk);
        EXPECT_EQ(textOf(object), "{\n\"a\" : " + std::to_string(value) + "\n}\n");
      }
    }
  }
}

TEST_F(JsonWrite, EscapesEveryByteOfAName) {
  for (int byte = 1; byte < 256; ++byte) {
    const RawObject object = createObject();
    ASSERT_EQ(object.setNull((std::string("key") + static_cast<char>(byte)).c_str()), kOk);
    EXPECT_EQ(textOf(object), "{\n\"key" + escaped(static_cast<uint8_t>(byte)) + "\" : null\n}\n");
  }
}

TEST_F(JsonWrite, WritesZeroBytesOfStringsAndNames) {
  EXPECT_EQ(textOf(holding(R"(x\u0000y)")), "{\n\"a\" : \"x\\u0000y\"\n}\n");
  const std::string key("{\"\\\0\":1}", 8);
  EXPECT_EQ(textOf(parsed(key)), "{\n\"\\\\\\u0000\" : 1\n}\n");
}

TEST_F(JsonWrite, WritesControlBytesAsDecimalNumbers) {
  const RawObject object = createObject();
  ASSERT_EQ(object.setString("a", "\x01\x0B\x1B\x1F\x7F\x80\xFF"), kOk);
  EXPECT_EQ(textOf(object), "{\n\"a\" : \"\\u0001\\u0011\\u0027\\u0031\x7F\x80\xFF\"\n}\n");
}

// --- how it reaches the stream ---

// The text is gathered and written whenever 1024 bytes or a little more are pending, and at the
// end.
class JsonPieces : public JsonTest {
 protected:
  // Writes the object; its pieces, which make up `expected` and follow the rule.
  std::vector<std::string> piecesOf(const RawObject& object, std::string_view expected) {
    IoLog log(spy);
    EXPECT_EQ(textOf(object), expected);
    EXPECT_EQ(log.joined(), expected);
    EXPECT_FALSE(log.pieces.back().empty());
    EXPECT_LE(log.pieces.back().size(), 1032u);
    for (size_t i = 0; i + 1 < log.pieces.size(); ++i) {
      EXPECT_GE(log.pieces[i].size(), 1024u);
      EXPECT_LE(log.pieces[i].size(), 1032u);
    }
    return log.pieces;
  }
  // Puts the text under the key "k" and writes the object.
  std::vector<std::string> piecesOf(const std::string& text) {
    const RawObject object = createObject();
    EXPECT_EQ(object.setString("k", text.c_str()), kOk);
    return piecesOf(object, "{\n\"k\" : \"" + escapedAll(text) + "\"\n}\n");
  }

  static std::string escapedAll(std::string_view text) {
    std::string all;
    for (const char c : text) {
      all += escaped(static_cast<uint8_t>(c));
    }
    return all;
  }
};

TEST_F(JsonPieces, OfASmallTreeAreOneWithoutTerminator) {
  const RawObject object =
      parsed(R"({"a":1,"b":[true,null],"c":{"d":"e/f"},"g":{},"h":[],"i":-2147483648})");
  IoLog log(spy);
  (void)textOf(object);
  EXPECT_THAT(log.pieces,
              ElementsAre("{\n\"a\" : 1,\n\"b\" : [\ntrue,\nnull\n]\n,\n\"c\" : {\n\"d\" : "
                          "\"e\\/f\"\n}\n,\n\"g\" : {\n\n}\n,\n\"h\" : [\n\n]\n,\n\"i\" : "
                          "-2147483648\n}\n"));
  EXPECT_THAT(log.calls, ElementsAre("create", "write", "content", "release"));
}

TEST_F(JsonPieces, LeaveTheBufferAtTheLimit) {
  constexpr size_t kAround = std::string_view("{\n\"k\" : \"\"\n}\n").size();
  for (size_t length = 1000; length < 1050; ++length) {
    const auto pieces = piecesOf(std::string(length, 'x'));
    if (length + kAround < 1024) {
      EXPECT_THAT(pieces, SizeIs(1)) << length;
    } else if (length + kAround > 1032) {
      EXPECT_THAT(pieces, SizeIs(2)) << length;
    }
  }
}

TEST_F(JsonPieces, EscapesMayPassTheLimit) {
  // A long escape, a short one and a plain byte at every place around the limit.
  for (size_t length = 1000; length < 1035; ++length) {
    for (const std::string_view middle : {"\x01", "/", "\xFF", "\x01\x1F/\\\"\n\x02"}) {
      for (const size_t behind : {size_t{0}, size_t{1}, size_t{9}, size_t{2000}}) {
        (void)piecesOf(std::string(length, 'x').append(middle) + std::string(behind, 'y'));
      }
    }
  }
}

TEST_F(JsonPieces, EveryKindOfValueMayMeetTheLimit) {
  for (size_t length = 960; length < 1040; ++length) {
    const std::string text(length, 'x');
    const RawObject object =
        parsed("{\"" + text + R"(":[-2147483648,7,true,false,null,"e/",{},[],{"k":-1}]})");
    (void)piecesOf(object, "{\n\"" + text +
                               "\" : [\n-2147483648,\n7,\ntrue,\nfalse,\nnull,\n\"e\\/\",\n"
                               "{\n\n}\n,\n[\n\n]\n,\n{\n\"k\" : -1\n}\n\n]\n\n}\n");
  }
}

TEST_F(JsonPieces, OfEscapesAloneFollowTheSameRule) {
  for (const char c : {'\x01', '/', '\xC3'}) {
    EXPECT_THAT(piecesOf(std::string(10'000, c)), SizeIs(Gt(8)));
  }
}

TEST_F(JsonPieces, OfANameFollowTheSameRule) {
  const std::string key(3000, 'k');
  const RawObject object = createObject();
  ASSERT_EQ(object.setNull(key.c_str()), kOk);
  EXPECT_THAT(piecesOf(object, "{\n\"" + key + "\" : null\n}\n"), SizeIs(3));
}

// --- failures of the stream ---

constexpr int32_t kStreamFailure = resultFrom(0x80040123u);

class JsonWriteFailure : public JsonTest {
 protected:
  int32_t write(const RawObject& object) {
    auto* text = reinterpret_cast<runtime::ByteBuffer*>(this);
    const int32_t result = object.toText(&text);
    EXPECT_EQ(text, nullptr) << "no record";
    return result;
  }
};

TEST_F(JsonWriteFailure, OfEachPieceIsReturnedAndNothingFollows) {
  const RawObject object = parsed(R"({"a":[1,"b",{"c":null,"d":[")" + std::string(16'000, 'y') +
                                  R"("]}],"e":true,"f":")" + std::string(16'000, 'x') + R"("})");
  size_t pieces = 0;
  {
    IoLog log(spy);
    (void)textOf(object);
    pieces = log.pieces.size();
  }
  EXPECT_GT(pieces, 30u);
  for (size_t at = 0; at < pieces; ++at) {
    IoLog log(spy);
    log.writeAt = at;
    log.writeResult = kStreamFailure;
    EXPECT_EQ(write(object), kStreamFailure) << at;
    EXPECT_THAT(log.pieces, SizeIs(at + 1));
    EXPECT_THAT(log.calls, ElementsAre("create", "write", "release"));
  }
}

TEST_F(JsonWriteFailure, OfTheStreamsCreationIsReturned) {
  const RawObject object = createObject();
  IoLog log(spy);
  log.createResult = kStreamFailure;
  EXPECT_EQ(write(object), kStreamFailure);
  EXPECT_THAT(log.calls, ElementsAre("create"));
}

TEST_F(JsonWriteFailure, OfItsContentIsReturnedAndTheStreamReleased) {
  const RawObject object = createObject();
  IoLog log(spy);
  log.contentResult = kStreamFailure;
  EXPECT_EQ(write(object), kStreamFailure);
  EXPECT_THAT(log.calls, ElementsAre("create", "write", "content", "release"));
}

TEST_F(JsonWriteFailure, IsNoPositiveResult) {
  const RawObject object = createObject();
  IoLog log(spy);
  log.writeAt = 0;
  log.writeResult = 1;
  runtime::ByteBuffer* text = nullptr;
  EXPECT_EQ(object.toText(&text), kOk);
  EXPECT_NE(text, nullptr);
  spy.commonTypes.BufferRelease(text);
  EXPECT_EQ(log.joined(), "{\n\n}\n");
}

TEST_F(JsonWrite, RefusesANullOut) { EXPECT_EQ(createObject().toText(nullptr), kNullPointer); }

// --- round trips ---

// No backslash in a key, and no byte that is written in another way than it is read.
bool survives(const Tree& tree) {
  const auto isKept = [](const std::string& text) {
    for (const char c : text) {
      const auto byte = static_cast<uint8_t>(c);
      const bool isLetterEscape = byte >= 0x08 && byte <= 0x0D && byte != 0x0B;
      if ((byte >= 0x08 && byte < 0x20 && !isLetterEscape) || byte == 0x7F || byte >= 0xFE) {
        return false;
      }
    }
    return true;
  };
  const auto isKeptKey = [](const std::string& key) {
    for (const char c : key) {
      if (escaped(static_cast<uint8_t>(c)).size() > 1) {
        return false;
      }
    }
    return true;
  };
  bool all = isKept(tree.text);
  for (const auto& [key, value] : tree.members) {
    all = all && isKept(key) && isKeptKey(key) && survives(value);
  }
  return all;
}

TEST_F(JsonWrite, WhatIsWrittenIsReadAsAnEqualTree) {
  int compared = 0;
  for (const auto cases : {layoutCases(), contentCases()}) {
    for (const ParseCase& value : cases) {
      RawObject object;
      if (parse(value.text, object) != kOk || !survives(treeOf(object))) {
        continue;
      }
      const std::string written = textOf(object);
      const RawObject again = parsed(written);
      EXPECT_EQ(treeOf(again), treeOf(object)) << value.name;
      EXPECT_EQ(textOf(again), written) << value.name;
      ++compared;
    }
  }
  EXPECT_GE(compared, 100);
}

TEST_F(JsonWrite, EveryByteThatIsReadComesBack) {
  std::string body;
  for (int byte = 1; byte < 0xFE; ++byte) {
    const bool isLetterEscape = byte >= 0x08 && byte <= 0x0D && byte != 0x0B;
    if ((byte < 0x08 || byte >= 0x20 || isLetterEscape) && byte != 0x7F) {
      body += static_cast<char>(byte);
    }
  }
  const RawObject object = createObject();
  ASSERT_EQ(object.setString("a", body.c_str()), kOk);
  EXPECT_EQ(parsed(textOf(object)).getStringPtr("a"), body);
}

TEST_F(JsonWrite, OtherControlBytesComeBackAsTheirDecimalReadAsHexadecimal) {
  const RawObject object = createObject();
  ASSERT_EQ(object.setString("a", "\x0B\x1F"), kOk);
  EXPECT_STREQ(parsed(textOf(object)).getStringPtr("a"), "\x11\x31");
}

TEST_F(JsonWrite, EscapedKeysDoNotComeBack) {
  const RawObject object = createObject();
  ASSERT_EQ(object.setNull("a/b"), kOk);
  EXPECT_STREQ(parsed(textOf(object)).getKeyPtrAt(0), "a\\/b");
}

TEST_F(JsonWrite, DepthToTheLimitComesBack) {
  std::string text;
  for (int depth = 1; depth < 512; ++depth) {
    text += depth % 2 == 0 ? "[" : R"({"a":)";
  }
  text += "{}";
  for (int depth = 511; depth >= 1; --depth) {
    text += depth % 2 == 0 ? "]" : "}";
  }
  const RawObject object = parsed(text);
  EXPECT_EQ(treeOf(parsed(textOf(object))), treeOf(object));
}

}  // namespace
}  // namespace vexa::test
