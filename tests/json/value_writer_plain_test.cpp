#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "json_fixture.h"

// Generated trees, written by the module and, beside it, as plainly as can be.
namespace vexa::test {
namespace {

constexpr int kDeepest = 4;

void appendEscaped(std::string& out, std::string_view text) {
  static constexpr std::string_view kBytes = "\b\t\n\f\r\"/\\";
  static constexpr std::string_view kLetters = "btnfr\"/\\";
  out += '"';
  for (const char c : text) {
    if (const size_t at = kBytes.find(c); at != std::string_view::npos) {
      out += '\\';
      out += kLetters[at];
    } else if (static_cast<uint8_t>(c) < 0x20) {
      const std::string number = std::to_string(c);
      out.append("\\u").append(4 - number.size(), '0').append(number);
    } else {
      out += c;
    }
  }
  out += '"';
}

// Fills objects and arrays through their slots and notes what is to be written.
class PlainTree {
 public:
  explicit PlainTree(uint32_t seed) : state_(seed) {}

  void fill(const RawObject& object, int depth) {
    expected_ += "{\n";
    const uint32_t count = random(12);
    for (uint32_t i = 0; i < count; ++i) {
      // Keys of one object differ by their first characters.
      const std::string key = std::to_string(i) + text();
      expected_ += i == 0 ? "" : ",\n";
      appendEscaped(expected_, key);
      expected_ += " : ";
      addMember(object, key.c_str(), depth);
    }
    expected_ += "\n}\n";
  }
  const std::string& expected() const { return expected_; }

 private:
  void addMember(const RawObject& object, const char* key, int depth) {
    RawObject inner;
    RawArray list;
    switch (random(depth < kDeepest ? 6 : 4)) {
      case 0:
        EXPECT_EQ(object.setInteger(key, number()), kOk);
        break;
      case 1:
        EXPECT_EQ(object.setBool(key, truth()), kOk);
        break;
      case 2:
        EXPECT_EQ(object.setNull(key), kOk);
        expected_ += "null";
        break;
      case 3:
        EXPECT_EQ(object.setString(key, string().c_str()), kOk);
        break;
      case 4:
        EXPECT_EQ(object.addObject(key, inner.put()), kOk);
        fill(inner, depth + 1);
        break;
      default:
        EXPECT_EQ(object.addArray(key, list.put()), kOk);
        fill(list, depth + 1);
        break;
    }
  }

  void fill(const RawArray& list, int depth) {
    expected_ += "[\n";
    const uint32_t count = random(8);
    for (uint32_t i = 0; i < count; ++i) {
      expected_ += i == 0 ? "" : ",\n";
      addElement(list, i, depth);
    }
    expected_ += "\n]\n";
  }

  void addElement(const RawArray& list, uint64_t index, int depth) {
    RawObject inner;
    switch (random(depth < kDeepest ? 3 : 2)) {
      case 0:
        EXPECT_EQ(list.setIntegerAt(index, number()), kOk);
        break;
      case 1:
        EXPECT_EQ(list.setStringAt(index, string().c_str()), kOk);
        break;
      default:
        EXPECT_EQ(list.addObjectAt(index, inner.put()), kOk);
        fill(inner, depth + 1);
        break;
    }
  }

  int32_t number() {
    const auto value = static_cast<int32_t>(next() >> random(32));
    expected_ += std::to_string(value);
    return value;
  }
  uint8_t truth() {
    const bool value = random(2) != 0;
    expected_ += value ? "true" : "false";
    return value ? 1 : 0;
  }
  std::string string() {
    std::string made = text();
    appendEscaped(expected_, made);
    return made;
  }
  // Mostly plain, mostly short.
  std::string text() {
    std::string made;
    const uint32_t special = random(3) == 0 ? 12 : 1000;
    for (uint32_t length = random(random(8) == 0 ? 1200 : 70); length != 0; --length) {
      made += static_cast<char>(random(special) == 0 ? 1 + random(255) : 'a' + random(26));
    }
    return made;
  }

  uint32_t random(uint32_t limit) {
    return static_cast<uint32_t>((uint64_t{next()} * limit) >> 32);
  }
  uint32_t next() {
    state_ = state_ * 6364136223846793005 + 1442695040888963407;
    return static_cast<uint32_t>(state_ >> 32);
  }

  uint64_t state_;
  std::string expected_;
};

class JsonPlainWriter : public JsonTest {};

TEST_F(JsonPlainWriter, WritesTheSameTrees) {
  for (uint32_t seed = 0; seed < 400; ++seed) {
    const RawObject object = createObject();
    PlainTree tree(seed);
    tree.fill(object, 0);
    ASSERT_EQ(textOf(object), tree.expected()) << seed;
  }
}

// Words of nothing but one byte, as names and as values.
TEST_F(JsonPlainWriter, WritesRunsOfEachByte) {
  for (int byte = 1; byte < 256; ++byte) {
    const RawObject object = createObject();
    std::string expected = "{\n";
    for (const size_t length : {1u, 3u, 4u, 5u, 7u, 8u, 9u, 15u, 16u, 17u, 32u, 64u, 65u}) {
      const std::string run(length, static_cast<char>(byte));
      ASSERT_EQ(object.setString(run.c_str(), run.c_str()), kOk);
      expected += length == 1 ? "" : ",\n";
      appendEscaped(expected, run);
      expected += " : ";
      appendEscaped(expected, run);
    }
    ASSERT_EQ(textOf(object), expected + "\n}\n") << byte;
  }
}

}  // namespace
}  // namespace vexa::test
