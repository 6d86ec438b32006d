#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>

#include "json/collections.h"
#include "json/jsonapi_list.h"
#include "json/parser.h"
#include "support/bound_fixture.h"
#include "support/exact_bytes.h"
#include "support/sweep.h"

// What cannot be seen through the interfaces: whose memory the values of a parsed tree are, how
// they leave it when they are changed, and trees that are deeper than a stack.
namespace vexa::json {
namespace {

using base::ComPtr;

constexpr int kVeryDeep = 200'000;

class JsonMemory : public test::BoundTest {
 protected:
  ComPtr<JsonObject> parse(std::string_view text) {
    const test::ExactBytes input(text);
    const runtime::ByteBuffer record = input.buffer();
    ComPtr<JsonObject> object;
    EXPECT_EQ(parseText(record, object), kOk) << text;
    return object;
  }

  static std::string textOf(IJsonObject& object) {
    runtime::ByteBuffer* text = nullptr;
    EXPECT_EQ(object.ToText(&text), kOk);
    if (text == nullptr) {
      return {};
    }
    std::string copy(reinterpret_cast<const char*>(text->data), text->length);
    base::bound.commonTypes->BufferRelease(text);
    return copy;
  }
};

TEST_F(JsonMemory, OneRootBlockHoldsASmallParsedTree) {
  const int64_t before = spy.liveBlocks();
  const auto object = parse(R"({"a":"text","b":[1,2],"c":{"d":null}})");
  EXPECT_EQ(spy.liveBlocks() - before, 1);
}

TEST_F(JsonMemory, WhatCannotBeParsedLeavesNothingOfTheObjectBefore) {
  auto object = parse("{}");
  const test::ExactBytes broken("{");
  EXPECT_EQ(parseText(broken.buffer(), object), kFail);
  EXPECT_EQ(object.get(), nullptr);
  object = parse("{}");
  spy.failAllocation(1);
  EXPECT_EQ(parseText(broken.buffer(), object), kOutOfMemory);
  EXPECT_EQ(object.get(), nullptr);
}

TEST_F(JsonMemory, AHeldChildOutlivesItsTree) {
  auto object = parse(R"({"child":{"name":"value","list":[1,"two"]}})");
  ComPtr<IJsonObject> child;
  ASSERT_EQ(object->GetObject("child", child.put()), kOk);
  object.reset();
  EXPECT_STREQ(child->GetStringPtr("name"), "value");
  EXPECT_EQ(textOf(*child.get()), "{\n\"name\" : \"value\",\n\"list\" : [\n1,\n\"two\"\n]\n\n}\n");
}

TEST_F(JsonMemory, AHeldArrayOutlivesAMemberPutInItsPlace) {
  const auto object = parse(R"({"list":["kept"]})");
  ComPtr<IJsonArray> list;
  ASSERT_EQ(object->GetArray("list", list.put()), kOk);
  ASSERT_EQ(object->SetNull("list"), kOk);
  EXPECT_STREQ(list->GetStringPtrAt(0), "kept");
}

TEST_F(JsonMemory, ParsedCollectionsGrowOutOfTheirPool) {
  const auto object = parse(R"({"list":[1],"a":1})");
  ComPtr<IJsonArray> list;
  ASSERT_EQ(object->GetArray("list", list.put()), kOk);
  for (int i = 0; i < 5; ++i) {
    ASSERT_EQ(list->SetIntegerAt(kJsonAtEnd, i), kOk);
    ASSERT_EQ(object->SetInteger(("key" + std::to_string(i)).c_str(), i), kOk);
  }
  EXPECT_EQ(list->GetCount(), 6u);
  EXPECT_EQ(object->GetCount(), 7u);
  EXPECT_EQ(
      textOf(*object.get()),
      "{\n\"list\" : [\n1,\n0,\n1,\n2,\n3,\n4\n]\n,\n\"a\" : 1,\n\"key0\" : 0,\n\"key1\" : 1,\n"
      "\"key2\" : 2,\n\"key3\" : 3,\n\"key4\" : 4\n}\n");
}

TEST_F(JsonMemory, AParsedNameBecomesAStringObjectWhenAskedFor) {
  const auto object = parse(R"({"key":1})");
  JsonValue* const member = object->valueAt(0);
  const char* const before = object->GetKeyPtrAt(0);
  const runtime::StringObject* const name = member->GetName();
  ASSERT_NE(name, nullptr);
  EXPECT_STREQ(base::bound.strings->GetText(name), "key");
  EXPECT_EQ(member->GetName(), name);
  EXPECT_STREQ(before, "key");
  EXPECT_EQ(object->GetTypeOf("key"), uint32_t{kJsonNumber});
}

TEST_F(JsonMemory, AParsedValueCanBeRenamedAndSetAnew) {
  const auto object = parse(R"({"key":"old"})");
  JsonValue* const member = object->valueAt(0);
  const test::ExactBytes bytes("newer");
  const runtime::ByteBuffer record = bytes.buffer();
  ASSERT_EQ(member->SetName(&record), kOk);
  ASSERT_EQ(member->SetValue(reinterpret_cast<uintptr_t>(&record)), kOk);
  EXPECT_STREQ(object->GetStringPtr("newer"), "newer");
  EXPECT_EQ(object->GetTypeOf("key"), uint32_t{kJsonAbsent});
}

TEST_F(JsonMemory, AParsedNameStaysWhenANewOneCannotBeHad) {
  const auto object = parse(R"({"key":"old"})");
  JsonValue* const member = object->valueAt(0);
  const test::ExactBytes bytes("newer");
  const runtime::ByteBuffer record = bytes.buffer();
  spy.failAllocation(1);
  EXPECT_EQ(member->SetName(&record), kOutOfMemory);
  spy.allowAllocations();
  EXPECT_STREQ(base::bound.strings->GetText(member->GetName()), "key");
  EXPECT_STREQ(object->GetStringPtr("key"), "old");
}

TEST_F(JsonMemory, AParsedStringSetAnewEndsWithItsTreeThoughNobodyAskedForItsName) {
  const int64_t before = spy.liveBlocks();
  auto object = parse(R"({"key":"old","list":["old"]})");
  const test::ExactBytes bytes("newer");
  const runtime::ByteBuffer record = bytes.buffer();
  for (JsonValue* const value :
       {object->valueAt(0), static_cast<JsonCollection*>(object->valueAt(1))->valueAt(0)}) {
    ASSERT_EQ(value->SetValue(reinterpret_cast<uintptr_t>(&record)), kOk);
    EXPECT_STREQ(value->GetStringPtr(), "newer");
  }
  object.reset();
  EXPECT_EQ(spy.liveBlocks(), before);
}

TEST_F(JsonMemory, AParsedStringSetAnewKeepsItsNameBeyondItsTree) {
  auto object = parse(R"({"key":"old"})");
  const test::ExactBytes bytes("newer");
  const runtime::ByteBuffer record = bytes.buffer();
  const auto value = ComPtr<JsonValue>::share(object->valueAt(0));
  ASSERT_EQ(value->SetValue(reinterpret_cast<uintptr_t>(&record)), kOk);
  object.reset();
  ASSERT_NE(value->GetName(), nullptr);
  EXPECT_STREQ(base::bound.strings->GetText(value->GetName()), "key");
  EXPECT_STREQ(value->GetStringPtr(), "newer");
}

TEST_F(JsonMemory, ParsedValuesBecomeObjectsOfTheirKindOnce) {
  const auto object =
      parse(R"({"n":null,"i":-7,"s":"text","a":[1],"o":{"k":2},"t":true,"f":false})");
  const std::string written = textOf(*object.get());
  for (uint64_t i = 0; i < object->count(); ++i) {
    const uint32_t type = object->GetTypeOf(object->GetKeyPtrAt(i));
    JsonValue* const value = object->valueAt(i);
    ASSERT_NE(value, nullptr);
    EXPECT_EQ(value->GetType(), type);
    EXPECT_EQ(value->name(), object->GetKeyPtrAt(i));
    EXPECT_EQ(object->valueAt(i), value);
    EXPECT_EQ(object->GetTypeOf(object->GetKeyPtrAt(i)), type);
  }
  int32_t number = 0;
  uint32_t truth = 7;
  EXPECT_EQ(object->valueAt(1)->GetInteger(&number), kOk);
  EXPECT_EQ(number, -7);
  EXPECT_EQ(object->valueAt(6)->GetBool(&truth), kOk);
  EXPECT_EQ(truth, 0u);
  EXPECT_EQ(object->valueAt(7), nullptr);
  EXPECT_EQ(textOf(*object.get()), written);
}

TEST_F(JsonMemory, ElementsOfAParsedArrayHaveAnEmptyName) {
  const auto object = parse(R"({"list":[1]})");
  ComPtr<IJsonArray> list;
  ASSERT_EQ(object->GetArray("list", list.put()), kOk);
  JsonValue* const element = static_cast<JsonCollection*>(object->valueAt(0))->valueAt(0);
  ASSERT_NE(element->GetName(), nullptr);
  EXPECT_STREQ(base::bound.strings->GetText(element->GetName()), "");
}

TEST_F(JsonMemory, ManyMembersKeepTheFirstOfEqualKeys) {
  std::string text = "{";
  for (int round = 0; round < 2; ++round) {
    for (int i = 0; i < 3000; ++i) {
      text += "\"k" + std::to_string(i) + "\":" + std::to_string(i + round * 10'000) + ",";
    }
  }
  const auto object = parse(text + "\"last\":1}");
  EXPECT_EQ(object->GetCount(), 3001u);
  for (const int i : {0, 15, 16, 17, 63, 64, 1023, 2999}) {
    int32_t value = -1;
    EXPECT_EQ(object->GetInteger(("k" + std::to_string(i)).c_str(), &value), kOk);
    EXPECT_EQ(value, i);
  }
}

TEST_F(JsonMemory, ValuesNestedBySettersAreReleasedWithoutTheStack) {
  ComPtr<JsonObject> root;
  ASSERT_EQ(createValue(root), kOk);
  ComPtr<IJsonObject> inner;
  ASSERT_EQ(root->AddObject("a", inner.put()), kOk);
  for (int depth = 0; depth < kVeryDeep; ++depth) {
    ComPtr<IJsonArray> array;
    ASSERT_EQ(inner->AddArray("a", array.put()), kOk);
    ASSERT_EQ(array->AddObjectAt(0, inner.put()), kOk);
  }
  inner.reset();
  root.reset();
  EXPECT_EQ(spy.liveBlocks(), 0);
}

TEST_F(JsonMemory, ValuesNestedBySettersAreWrittenWithoutTheStack) {
  ComPtr<JsonObject> root;
  ASSERT_EQ(createValue(root), kOk);
  ComPtr<IJsonObject> inner;
  ASSERT_EQ(root->AddObject("a", inner.put()), kOk);
  for (int depth = 0; depth < kVeryDeep; ++depth) {
    ComPtr<IJsonObject> next;
    ASSERT_EQ(inner->AddObject("a", next.put()), kOk);
    inner = std::move(next);
  }
  const std::string text = textOf(*root.get());
  EXPECT_EQ(text.size(), (kVeryDeep + 1) * std::string_view("{\n\"a\" : \n}\n").size() +
                             std::string_view("{\n\n}\n").size());
  EXPECT_EQ(text.substr(text.size() - 8), "}\n\n}\n\n}\n");
}

// --- how much memory a parse takes ---

std::string repeated(std::string_view opening, std::string_view element, std::string_view closing) {
  std::string text(opening);
  while (text.size() < 512 * 1024) {
    text += element;
  }
  return text.append(closing);
}

std::string differentKeys(const char* value) {
  std::string text = "{";
  for (uint32_t i = 0; text.size() < 512 * 1024; ++i) {
    // Three bytes that count up tell the keys apart: as short as they can be.
    const char key[] = {static_cast<char>(0x80 + i % 64), static_cast<char>(0x80 + i / 64 % 64),
                        static_cast<char>(0x80 + i / 4096)};
    text.append("\"").append(key, sizeof(key)).append("\":").append(value).append(",");
  }
  return text + "\"\":0}";
}

TEST_F(JsonMemory, AParseTakesABoundedMultipleOfItsText) {
  const std::string texts[] = {
      repeated("{\"a\":[", "{},", "{}]}"),
      repeated("{\"a\":[", "[],", "[]]}"),
      repeated("{\"a\":[", "0,", "0]}"),
      repeated("{\"a\":[", "[0],", "[0]]}"),
      repeated("{\"a\":[", "[0,0,0,0,0,0,0,0,0,0],", "[0]]}"),
      repeated("{\"a\":[", "{\"\":0},", "0]}"),
      repeated("{", "\"\":0,", "\"\":0}"),
      repeated("{", "\"\":[0,0,0,0],", "\"\":0}"),
      repeated("{", "\"a\":\"\",", "\"b\":0}"),
      differentKeys("0"),
      differentKeys("[]"),
      differentKeys("\"\""),
  };
  for (const std::string& text : texts) {
    const auto size = static_cast<int64_t>(text.size());
    const int64_t before = spy.liveBytes();
    spy.forgetMostBytes();
    auto object = parse(text);
    EXPECT_LE(spy.mostBytes() - before, size * 32 + 64 * 1024) << text.substr(0, 40);
    EXPECT_LE(spy.liveBytes() - before, size * 16 + 64 * 1024) << text.substr(0, 40);
    object.reset();
    EXPECT_EQ(spy.liveBytes(), before);
  }
}

TEST_F(JsonMemory, AParseSurvivesEveryFailedAllocation) {
  std::string many = "{\"nested\":{\"a\":[1,true,\"x\"]},\"nested\":2";
  for (int i = 0; i < 200; ++i) {
    many += ",\"key" + std::to_string(i) + "\":[\"" + std::string(40, 'v') + "\"]";
  }
  const test::ExactBytes input(many + "}");
  const runtime::ByteBuffer record = input.buffer();
  const int failures = test::sweepAllocations(spy, [&record] {
    IJsonObject* object = nullptr;
    const int32_t result = kJsonApi.Parse(&record, &object);
    EXPECT_EQ(object != nullptr, result == kOk);
    EXPECT_TRUE(result == kOk || result == kOutOfMemory);
    if (object != nullptr) {
      object->Release();
    }
    return result == kOk;
  });
  EXPECT_GE(failures, 4);
}

TEST_F(JsonMemory, ChangesOfAParsedTreeSurviveEveryFailedAllocation) {
  const test::ExactBytes input(R"({"a":"text","list":[1]})");
  const runtime::ByteBuffer record = input.buffer();
  const int failures = test::sweepAllocations(spy, [&record] {
    ComPtr<JsonObject> copy;
    if (failed(parseText(record, copy))) {
      return false;
    }
    ComPtr<IJsonObject> child;
    ComPtr<IJsonArray> elements;
    const bool done =
        copy->SetString("a", "other") == kOk && copy->SetInteger("b", 1) == kOk &&
        copy->AddObject("c", child.put()) == kOk && copy->GetArray("list", elements.put()) == kOk &&
        elements->SetStringAt(kJsonAtEnd, "x") == kOk && copy->valueAt(1)->GetName() != nullptr;
    runtime::ByteBuffer* text = nullptr;
    const bool written = copy->ToText(&text) == kOk;
    EXPECT_EQ(written, text != nullptr);
    base::bound.commonTypes->BufferRelease(text);
    return done && written;
  });
  EXPECT_GE(failures, 10);
}

}  // namespace
}  // namespace vexa::json
