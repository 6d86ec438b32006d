#pragma once

#include <string>
#include <string_view>

#include "raw_json.h"
#include "support/exact_bytes.h"
#include "tree.h"

namespace vexa::test {

// The list "jsonapi" by the numbers of its entries.
class JsonTest : public ModuleTest {
 protected:
  void SetUp() override {
    ModuleTest::SetUp();
    api = list(kJsonApiListName);
    ASSERT_NE(api, nullptr);
  }

  int32_t createObject(void** object) const { return tableEntry<int32_t(void**)>(api, 1)(object); }
  RawObject createObject() const {
    RawObject object;
    EXPECT_EQ(createObject(object.put()), kOk);
    return object;
  }

  int32_t parse(const runtime::ByteBuffer* text, void** object) const {
    return tableEntry<int32_t(const runtime::ByteBuffer*, void**)>(api, 2)(text, object);
  }
  // From a block that ends where the text does.
  int32_t parse(std::string_view text, RawObject& object) const {
    const ExactBytes input(text);
    const runtime::ByteBuffer record = input.buffer();
    return parse(&record, object.put());
  }
  RawObject parsed(std::string_view text) const {
    RawObject object;
    EXPECT_EQ(parse(text, object), kOk) << text;
    return object;
  }
  // The tree in the notation of describe(), "refused", or the unexpected result.
  std::string parsedTree(std::string_view text) const {
    RawObject object;
    const int32_t result = parse(text, object);
    EXPECT_EQ(static_cast<bool>(object), result == kOk);
    if (result == kFail) {
      return "refused";
    }
    return result == kOk ? describe(treeOf(object)) : "result " + std::to_string(result);
  }

  std::string textOf(const RawObject& object) {
    runtime::ByteBuffer* text = nullptr;
    EXPECT_EQ(object.toText(&text), kOk);
    if (text == nullptr) {
      return {};
    }
    EXPECT_EQ(text->data[text->length], 0) << "a zero byte stands behind the text";
    std::string copy(reinterpret_cast<const char*>(text->data), text->length);
    spy.commonTypes.BufferRelease(text);
    return copy;
  }
  // {"a": value} with a string or key of any bytes the parser lets through.
  RawObject holding(std::string_view value) const {
    return parsed(std::string(R"({"a":")").append(value).append(R"("})"));
  }

  const void* api = nullptr;
};

}  // namespace vexa::test
