#include "tree.h"

#include <gtest/gtest.h>

namespace vexa::test {
namespace {

Tree treeOf(const RawArray& array);

// What both interfaces answer for a member or element: `where` is a key or an index.
struct ObjectReader {
  const RawObject& from;

  uint32_t type(const char* key) const { return from.getTypeOf(key); }
  int32_t integer(const char* key, int32_t* out) const { return from.getInteger(key, out); }
  int32_t string(const char* key, StringOut out) const { return from.getString(key, out); }
  int32_t truth(const char* key, uint32_t* out) const { return from.getBool(key, out); }
  int32_t object(const char* key, void** out) const { return from.getObject(key, out); }
  int32_t array(const char* key, void** out) const { return from.getArray(key, out); }
};
struct ArrayReader {
  const RawArray& from;

  uint32_t type(uint64_t index) const { return from.getTypeAt(index); }
  int32_t integer(uint64_t index, int32_t* out) const { return from.getIntegerAt(index, out); }
  int32_t string(uint64_t index, StringOut out) const { return from.getStringAt(index, out); }
  int32_t truth(uint64_t index, uint32_t* out) const { return from.getBoolAt(index, out); }
  int32_t object(uint64_t index, void** out) const { return from.getObjectAt(index, out); }
  int32_t array(uint64_t index, void** out) const { return from.getArrayAt(index, out); }
};

template <class Reader, class Where>
Tree read(const Reader& reader, Where where) {
  Tree tree{.type = reader.type(where)};
  switch (tree.type) {
    case kJsonNull:
      break;
    case kJsonNumber: {
      int32_t value = 0;
      EXPECT_EQ(reader.integer(where, &value), kOk);
      tree.number = value;
      break;
    }
    case kJsonString: {
      StringHolder value;
      EXPECT_EQ(reader.string(where, value.get()), kOk);
      tree.text = value.bytes();
      break;
    }
    case kJsonBool: {
      uint32_t value = 2;
      EXPECT_EQ(reader.truth(where, &value), kOk);
      tree.number = value;
      break;
    }
    case kJsonObject: {
      RawObject value;
      EXPECT_EQ(reader.object(where, value.put()), kOk);
      return treeOf(value);
    }
    case kJsonArray: {
      RawArray value;
      EXPECT_EQ(reader.array(where, value.put()), kOk);
      return treeOf(value);
    }
    default:
      ADD_FAILURE() << "a value of type " << tree.type;
  }
  return tree;
}

Tree treeOf(const RawArray& array) {
  Tree tree{.type = array.getType()};
  for (uint64_t index = 0; index < array.getCount(); ++index) {
    tree.members.emplace_back("", read(ArrayReader{array}, index));
  }
  return tree;
}

std::string inQuotes(std::string_view bytes) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text = "'";
  for (const char c : bytes) {
    const auto byte = static_cast<uint8_t>(c);
    if (byte < 0x20 || byte > 0x7E || c == '\'' || c == '<') {
      text += {'<', kDigits[byte >> 4], kDigits[byte & 15], '>'};
    } else {
      text += c;
    }
  }
  return text + "'";
}

}  // namespace

Tree treeOf(const RawObject& object) {
  Tree tree{.type = object.getType()};
  for (uint64_t index = 0; index < object.getCount(); ++index) {
    StringHolder key;
    EXPECT_EQ(object.getKeyAt(index, key.get()), kOk);
    // A key that holds a zero byte cannot be asked for by a zero-terminated text.
    const bool isReachable = key.bytes().find('\0') == std::string::npos;
    tree.members.emplace_back(
        key.bytes(), isReachable ? read(ObjectReader{object}, key.bytes().c_str()) : Tree{});
  }
  return tree;
}

std::string describe(const Tree& tree) {
  switch (tree.type) {
    case kJsonNull:
      return "null";
    case kJsonNumber:
      return std::to_string(tree.number);
    case kJsonString:
      return inQuotes(tree.text);
    case kJsonBool:
      return tree.number == 0 ? "false" : "true";
    case kJsonAbsent:
      return "?";
    default:
      break;
  }
  const bool isObject = tree.type == kJsonObject;
  std::string text;
  for (const auto& [key, value] : tree.members) {
    text += text.empty() ? "" : ",";
    text += isObject ? inQuotes(key) + ":" : "";
    text += describe(value);
  }
  return isObject ? "{" + text + "}" : "[" + text + "]";
}

void PrintTo(const Tree& tree, std::ostream* out) { *out << describe(tree); }

}  // namespace vexa::test
