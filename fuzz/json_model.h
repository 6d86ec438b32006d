#pragma once

#include <algorithm>
#include <cstdio>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "vexa/json.h"

// The grammar of JSON texts as plainly as can be: strings by value, one character at a time, first
// checked and then decoded.
namespace vexa::fuzz {

struct Node {
  explicit Node(uint32_t kind, long value = 0) : type(kind), number(value) {}

  std::string key;  // of a member
  uint32_t type;
  long number;
  std::string string;
  std::vector<Node> members;
};

struct Refused {};  // thrown for what the grammar does not allow

class Model {
 public:
  explicit Model(std::string_view text) : text_(text) {}

  Node read() {
    comments();
    expect('{');
    return object(1);
  }

 private:
  static constexpr int kEnd = -1;

  int peek(size_t ahead = 0) const {
    return at_ + ahead < text_.size() ? static_cast<uint8_t>(text_[at_ + ahead]) : kEnd;
  }
  static bool isBlank(int c) { return c == '\t' || c == '\n' || c == '\r' || c == ' '; }
  static bool isDigit(int c) { return c >= '0' && c <= '9'; }

  void blanks() {
    while (isBlank(peek())) {
      ++at_;
    }
  }
  bool token(char c) {
    const size_t start = at_;
    blanks();
    if (peek() != c) {
      at_ = start;
      return false;
    }
    ++at_;
    blanks();
    return true;
  }
  void expect(char c) {
    if (!token(c)) {
      throw Refused();
    }
  }
  void comments() {
    for (;;) {
      const size_t start = at_;
      blanks();
      if (peek() != '/') {
        at_ = start;
        return;
      }
      ++at_;
      blanks();
      if (peek() != '/') {
        at_ = start;
        return;
      }
      while (peek() != kEnd && peek() != '\n') {
        ++at_;
      }
      if (peek() == '\n') {
        ++at_;
      }
    }
  }

  // The bytes between the quotes as they stand.
  std::string quoted() {
    blanks();
    if (peek() != '"') {
      throw Refused();
    }
    const size_t start = ++at_;
    for (;;) {
      const int c = peek();
      if (c == '"') {
        return std::string(text_.substr(start, at_++ - start));
      }
      if (c == '\\') {
        const int next = peek(1);
        if (next == kEnd || next > 0x7F || next == '\n' || next == '\r') {
          throw Refused();
        }
        at_ += 2;
      } else if (isBlank(c) || (c >= 0x80 && c <= 0xFD) || (c >= '!' && c <= '~')) {
        ++at_;
      } else {
        throw Refused();
      }
    }
  }

  static int hexDigit(char c) {
    if (c >= '0' && c <= '9') {
      return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
      return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
      return c - 'A' + 10;
    }
    throw Refused();
  }
  static void appendUnit(std::string& out, int unit) {
    if (unit < 0x80) {
      out += static_cast<char>(unit);
    } else if (unit < 0x800) {
      out += static_cast<char>(0xC0 | unit >> 6);
      out += static_cast<char>(0x80 | (unit & 0x3F));
    } else {
      out += static_cast<char>(0xE0 | unit >> 12);
      out += static_cast<char>(0x80 | (unit >> 6 & 0x3F));
      out += static_cast<char>(0x80 | (unit & 0x3F));
    }
  }
  static std::string decoded(const std::string& body) {
    static constexpr std::string_view kLetters = "\"/\\bfnrt";
    static constexpr std::string_view kMeanings = "\"/\\\b\f\n\r\t";
    std::string out;
    for (size_t i = 0; i < body.size(); ++i) {
      if (body[i] != '\\') {
        out += body[i];
        continue;
      }
      if (++i == body.size()) {
        throw Refused();
      }
      if (body[i] == 'u') {
        if (body.size() - i - 1 < 4) {
          throw Refused();
        }
        int unit = 0;
        for (int digit = 0; digit < 4; ++digit) {
          unit = unit * 16 + hexDigit(body[++i]);
        }
        appendUnit(out, unit);
        continue;
      }
      const size_t letter = kLetters.find(body[i]);
      if (letter == std::string_view::npos) {
        throw Refused();
      }
      out += kMeanings[letter];
    }
    return out;
  }

  Node number() {
    const size_t start = at_;
    if (!token('-')) {
      token('+');
    }
    digits();
    if (peek() == '.') {
      ++at_;
      digits();
    }
    Node node(kJsonNumber);
    node.number = std::strtol(std::string(text_.substr(start, at_ - start)).c_str(), nullptr, 10);
    node.number = std::max(-2147483648L, std::min(2147483647L, node.number));
    return node;
  }
  void digits() {
    if (!isDigit(peek())) {
      throw Refused();
    }
    while (isDigit(peek())) {
      ++at_;
    }
  }

  bool word(std::string_view expected) {
    if (text_.substr(at_, expected.size()) != expected) {
      return false;
    }
    at_ += expected.size();
    return true;
  }

  Node value(uint32_t depth) {
    comments();
    blanks();
    const int c = peek();
    if (c == '"') {
      Node node(kJsonString);
      node.string = decoded(quoted());
      return node;
    }
    if (isDigit(c) || c == '-' || c == '+') {
      return number();
    }
    if (token('[')) {
      return array(depth + 1);
    }
    if (token('{')) {
      return object(depth + 1);
    }
    if (word("true")) {
      return Node(kJsonBool, 1);
    }
    if (word("false")) {
      return Node(kJsonBool, 0);
    }
    if (word("null")) {
      return Node(kJsonNull);
    }
    throw Refused();
  }

  Node object(uint32_t depth) {
    Node node(kJsonObject);
    limit(depth);
    comments();
    if (token('}')) {
      return node;
    }
    do {
      comments();
      std::string key = quoted();
      expect(':');
      Node member = value(depth);
      bool isNew = true;
      for (const Node& other : node.members) {
        isNew = isNew && other.key != key;
      }
      if (isNew) {
        member.key = std::move(key);
        node.members.push_back(std::move(member));
      }
      comments();
    } while (token(','));
    expect('}');
    return node;
  }

  Node array(uint32_t depth) {
    Node node(kJsonArray);
    limit(depth);
    comments();
    if (token(']')) {
      return node;
    }
    do {
      node.members.push_back(value(depth));
    } while (token(','));
    expect(']');
    return node;
  }

  static void limit(uint32_t depth) {
    if (depth > kJsonMaxDepth) {
      throw Refused();
    }
  }

  std::string_view text_;
  size_t at_ = 0;
};

inline std::string escaped(const std::string& text) {
  static constexpr std::string_view kBytes = "\b\t\n\f\r\"/\\";
  static constexpr std::string_view kLetters = "btnfr\"/\\";
  std::string out = "\"";
  for (const char c : text) {
    const size_t letter = kBytes.find(c);
    if (letter != std::string_view::npos) {
      out += '\\';
      out += kLetters[letter];
    } else if (static_cast<uint8_t>(c) < 0x20) {
      char number[8];
      std::snprintf(number, sizeof(number), "\\u%04d", c);
      out += number;
    } else {
      out += c;
    }
  }
  return out + "\"";
}

inline std::string written(const Node& node) {
  switch (node.type) {
    case kJsonNull:
      return "null";
    case kJsonBool:
      return node.number != 0 ? "true" : "false";
    case kJsonNumber:
      return std::to_string(node.number);
    case kJsonString:
      return escaped(node.string);
    default:
      break;
  }
  const bool isObject = node.type == kJsonObject;
  std::string out = isObject ? "{\n" : "[\n";
  const char* separator = "";
  for (const Node& member : node.members) {
    out += separator;
    out += isObject ? escaped(member.key) + " : " : "";
    out += written(member);
    separator = ",\n";
  }
  return out + "\n" + (isObject ? "}\n" : "]\n");
}

}  // namespace vexa::fuzz
