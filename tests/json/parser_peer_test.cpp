#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "json_fixture.h"
#include "parse_cases.h"

// Another JSON library reads what this parser reads and what the serializer writes, and finds the
// same values, but for what is meant to differ: fractions are dropped, numbers saturate, of equal
// keys the first counts, and each half of a surrogate pair is a sequence of its own.
namespace vexa::test {
namespace {

using Json = nlohmann::json;

int64_t saturated(double value) {
  using Limits = std::numeric_limits<int32_t>;
  return static_cast<int64_t>(
      std::clamp(value, double{Limits::min()}, double{Limits::max()}));  // drops the fraction
}

// Builds a Tree from the library's events, which show equal keys one by one.
class TreeBuilder : public nlohmann::json_sax<Json> {
 public:
  bool null() override { return put({.type = kJsonNull}); }
  bool boolean(bool value) override { return put({.type = kJsonBool, .number = value ? 1 : 0}); }
  bool number_integer(int64_t value) override {
    return put({.type = kJsonNumber, .number = saturated(static_cast<double>(value))});
  }
  bool number_unsigned(uint64_t value) override {
    return put({.type = kJsonNumber, .number = saturated(static_cast<double>(value))});
  }
  bool number_float(double value, const std::string& /*text*/) override {
    return put({.type = kJsonNumber, .number = saturated(value)});
  }
  bool string(std::string& value) override { return put({.type = kJsonString, .text = value}); }
  bool binary(Json::binary_t& /*value*/) override { return false; }
  bool start_object(size_t /*count*/) override { return open(kJsonObject); }
  bool key(std::string& value) override {
    open_.back().key = value;
    return true;
  }
  bool end_object() override { return close(); }
  bool start_array(size_t /*count*/) override { return open(kJsonArray); }
  bool end_array() override { return close(); }
  bool parse_error(size_t /*position*/, const std::string& /*token*/,
                   const Json::exception& /*error*/) override {
    return false;
  }

  const Tree& tree() const { return root_; }

 private:
  struct Open {
    Tree tree;
    std::string key;  // of the member that comes next
  };

  bool open(uint32_t type) {
    open_.push_back({{.type = type}, {}});
    return true;
  }

  bool close() {
    Tree closed = std::move(open_.back().tree);
    open_.pop_back();
    return put(std::move(closed));
  }

  bool put(Tree value) {
    if (open_.empty()) {
      root_ = std::move(value);
      return true;
    }
    auto& [tree, key] = open_.back();
    const bool isRepeated =
        tree.type == kJsonObject && std::ranges::count(tree.members, key, &Member::first) != 0;
    if (!isRepeated) {
      tree.members.emplace_back(tree.type == kJsonObject ? key : "", std::move(value));
    }
    return true;
  }

  using Member = std::pair<std::string, Tree>;
  std::vector<Open> open_;
  Tree root_;
};

bool readByPeer(std::string_view text, Tree& tree) {
  TreeBuilder builder;
  constexpr bool kWholeText = true;
  constexpr bool kIgnoreComments = true;
  if (!Json::sax_parse(text.begin(), text.end(), &builder, Json::input_format_t::json, kWholeText,
                       kIgnoreComments) ||
      builder.tree().type != kJsonObject) {
    return false;
  }
  tree = builder.tree();
  return true;
}

// Makes one sequence of four bytes of each surrogate pair.
std::string joinSurrogates(const std::string& text) {
  const auto unit = [&text](size_t at) -> uint32_t {
    if (at + 3 > text.size() || static_cast<uint8_t>(text[at]) != 0xED) {
      return 0;
    }
    return 0xD000u | (static_cast<uint8_t>(text[at + 1]) & 0x3Fu) << 6 |
           (static_cast<uint8_t>(text[at + 2]) & 0x3Fu);
  };
  std::string joined;
  for (size_t at = 0; at < text.size(); ++at) {
    const uint32_t high = unit(at);
    const uint32_t low = unit(at + 3);
    if (high < 0xD800 || high > 0xDBFF || low < 0xDC00) {
      joined += text[at];
      continue;
    }
    const uint32_t point = 0x10000 + ((high & 0x3FF) << 10) + (low & 0x3FF);
    joined += {static_cast<char>(0xF0 | point >> 18), static_cast<char>(0x80 | (point >> 12 & 63)),
               static_cast<char>(0x80 | (point >> 6 & 63)), static_cast<char>(0x80 | (point & 63))};
    at += 5;
  }
  return joined;
}

void joinSurrogates(Tree& tree) {
  tree.text = joinSurrogates(tree.text);
  for (auto& [key, value] : tree.members) {
    joinSurrogates(value);
  }
}

class JsonPeer : public JsonTest {
 protected:
  // The trees that both read; false when one refuses.
  bool readByBoth(std::string_view text, Tree& ours, Tree& theirs) {
    RawObject object;
    if (parse(text, object) != kOk || !readByPeer(text, theirs)) {
      return false;
    }
    ours = treeOf(object);
    joinSurrogates(ours);
    return true;
  }
};

// Keys stay undecoded here.
bool hasEscapedKey(const Tree& tree) {
  return std::ranges::any_of(tree.members, [](const auto& member) {
    return member.first.find('\\') != std::string::npos || hasEscapedKey(member.second);
  });
}

TEST_F(JsonPeer, FindsTheSameValuesInEveryTextThatBothRead) {
  int compared = 0;
  for (const auto cases : {layoutCases(), contentCases()}) {
    for (const ParseCase& value : cases) {
      Tree ours;
      Tree theirs;
      if (readByBoth(value.text, ours, theirs) && !hasEscapedKey(ours)) {
        EXPECT_EQ(ours, theirs) << value.name << ": " << value.text;
        ++compared;
      }
    }
  }
  EXPECT_GE(compared, 70);
}

TEST_F(JsonPeer, ReadsWhatTheSerializerWrites) {
  int compared = 0;
  for (const auto cases : {layoutCases(), contentCases()}) {
    for (const ParseCase& value : cases) {
      RawObject object;
      Tree theirs;
      if (parse(value.text, object) != kOk || !readByPeer(textOf(object), theirs)) {
        continue;
      }
      Tree ours = treeOf(object);
      if (describe(ours).find("<0") == std::string::npos &&
          describe(ours).find("<1") == std::string::npos) {  // control bytes become others
        EXPECT_EQ(ours, theirs) << value.name << ": " << value.text;
        ++compared;
      }
    }
  }
  EXPECT_GE(compared, 80);
}

TEST_F(JsonPeer, AgreesOnALargeDocument) {
  std::string text = R"({"records":[)";
  for (int i = 0; i < 300; ++i) {
    const std::string n = std::to_string(i * 7919 - 1'000'000);
    text += i == 0 ? "" : ",";
    text += R"({"id":)" + n + R"(,"name":"J\u00f6rg \ud83d\ude00 )" + n + R"(","path":"\/a\/)" + n +
            R"(","flags":[true,false,null,)" + n + R"(.75],"more":{"empty":{},"none":[]}})";
  }
  Tree ours;
  Tree theirs;
  ASSERT_TRUE(readByBoth(text + "]}", ours, theirs));
  EXPECT_EQ(ours, theirs);
  EXPECT_EQ(ours.members[0].second.members.size(), 300u);
}

}  // namespace
}  // namespace vexa::test
