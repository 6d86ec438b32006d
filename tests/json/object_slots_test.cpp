#include <gtest/gtest.h>

#include <initializer_list>
#include <string>

#include "json_fixture.h"

// IJsonObject slot by slot.
namespace vexa::test {
namespace {

// One member of each kind.
constexpr std::string_view kEveryKind =
    R"({"null":null,"number":-7,"string":"text","array":[1,2],"object":{"x":1},"bool":true})";
constexpr const char* kKeys[] = {"null", "number", "string", "array", "object", "bool"};
constexpr uint32_t kTypes[] = {1, 2, 3, 4, 5, 6};

class JsonObjectSlots : public JsonTest {
 protected:
  void SetUp() override {
    JsonTest::SetUp();
    object = parsed(kEveryKind);
  }
  void TearDown() override {
    object.reset();
    JsonTest::TearDown();
  }

  std::string tree() const { return describe(treeOf(object)); }

  RawObject object;
};

TEST_F(JsonObjectSlots, Slot3IsTheType) {
  EXPECT_EQ(object.getType(), 5u);
  EXPECT_EQ(createObject().getType(), 5u);
}

TEST_F(JsonObjectSlots, Slot4HandsOutATextThatTheCallerOwns) {
  runtime::ByteBuffer* text = nullptr;
  ASSERT_EQ(createObject().toText(&text), kOk);
  ASSERT_NE(text, nullptr);
  EXPECT_EQ(text->length, 5u);
  EXPECT_STREQ(reinterpret_cast<const char*>(text->data), "{\n\n}\n");
  spy.commonTypes.BufferRelease(text);
}

TEST_F(JsonObjectSlots, Slot5CountsTheMembers) {
  EXPECT_EQ(object.getCount(), 6u);
  EXPECT_EQ(object.setNull("another"), kOk);
  EXPECT_EQ(object.getCount(), 7u);
  EXPECT_EQ(object.setNull("null"), kOk);
  EXPECT_EQ(object.getCount(), 7u);
}

TEST_F(JsonObjectSlots, Slot6IsTheKeyAtAnIndex) {
  StringHolder key;
  for (uint64_t index = 0; index < 6; ++index) {
    EXPECT_EQ(object.getKeyAt(index, key.get()), kOk);
    EXPECT_EQ(key.bytes(), kKeys[index]);
  }
}

TEST_F(JsonObjectSlots, Slot6LeavesTheKeyWhenThereIsNone) {
  StringHolder key;
  ASSERT_EQ(object.getKeyAt(0, key.get()), kOk);
  for (const uint64_t index : {uint64_t{6}, uint64_t{7}, ~uint64_t{0}}) {
    EXPECT_EQ(object.getKeyAt(index, key.get()), kFail);
  }
  EXPECT_EQ(key.bytes(), "null");
  EXPECT_EQ(createObject().getKeyAt(0, key.get()), kFail);
}

TEST_F(JsonObjectSlots, Slot6RefusesANullOut) {
  EXPECT_EQ(object.getKeyAt(0, nullptr), kNullPointer);
}

TEST_F(JsonObjectSlots, Slot6CountsTheBytesOfAKey) {
  const RawObject made = parsed(std::string_view("{\"a\\\0b\":1}", 10));
  StringHolder key;
  EXPECT_EQ(made.getKeyAt(0, key.get()), kOk);
  EXPECT_EQ(key.bytes(), std::string("a\\\0b", 4));
  EXPECT_STREQ(made.getKeyPtrAt(0), "a\\");
  EXPECT_EQ(made.getTypeOf("a\\"), 0u);
}

TEST_F(JsonObjectSlots, Slot7IsAPointerToTheKey) {
  for (uint64_t index = 0; index < 6; ++index) {
    EXPECT_STREQ(object.getKeyPtrAt(index), kKeys[index]);
  }
  EXPECT_EQ(object.getKeyPtrAt(6), nullptr);
  EXPECT_EQ(object.getKeyPtrAt(~uint64_t{0}), nullptr);
  EXPECT_EQ(object.getKeyPtrAt(2), object.getKeyPtrAt(2)) << "it belongs to the value";
  EXPECT_EQ(object.setNull("new"), kOk);
  EXPECT_STREQ(object.getKeyPtrAt(6), "new");
}

TEST_F(JsonObjectSlots, Slot8IsTheTypeOfAMember) {
  for (size_t i = 0; i < 6; ++i) {
    EXPECT_EQ(object.getTypeOf(kKeys[i]), kTypes[i]);
  }
}

TEST_F(JsonObjectSlots, Slot8IsZeroForAnAbsentMember) {
  for (const char* const key : {"", "Null", "nul", "null ", "x", "missing"}) {
    EXPECT_EQ(object.getTypeOf(key), 0u) << key;
  }
  EXPECT_EQ(object.getTypeOf(nullptr), 0u);
  EXPECT_EQ(createObject().getTypeOf("a"), 0u);
}

TEST_F(JsonObjectSlots, LookupsAskTheRuntimeToCompare) {
  spy.commonTypes.BufferCompare = [](const runtime::ByteBuffer*,
                                     const runtime::ByteBuffer*) -> int32_t { return 1; };
  EXPECT_EQ(object.getTypeOf("null"), 0u);
  spy.commonTypes.BufferCompare = [](const runtime::ByteBuffer*,
                                     const runtime::ByteBuffer*) -> int32_t { return 0; };
  EXPECT_EQ(object.getTypeOf("bool"), 1u) << "the first that is equal";
}

TEST_F(JsonObjectSlots, Slot9CopiesAString) {
  StringHolder value;
  EXPECT_EQ(object.getString("string", value.get()), kOk);
  EXPECT_EQ(value.bytes(), "text");
  EXPECT_EQ(object.setString("string", "another"), kOk);
  EXPECT_EQ(value.bytes(), "text");
  EXPECT_EQ(object.getString("string", value.get()), kOk);
  EXPECT_EQ(value.bytes(), "another");
}

TEST_F(JsonObjectSlots, Slot9CopiesZeroBytes) {
  StringHolder value;
  EXPECT_EQ(holding(R"(a\u0000b)").getString("a", value.get()), kOk);
  EXPECT_EQ(value.bytes(), std::string("a\0b", 3));
}

TEST_F(JsonObjectSlots, Slot9LeavesTheOutOnFailure) {
  StringHolder value;
  ASSERT_EQ(object.getString("string", value.get()), kOk);
  for (const char* const key : {"null", "number", "array", "object", "bool", "missing"}) {
    EXPECT_EQ(object.getString(key, value.get()), kFail) << key;
  }
  EXPECT_EQ(object.getString(nullptr, value.get()), kFail);
  EXPECT_EQ(value.bytes(), "text");
  EXPECT_EQ(object.getString("string", nullptr), kNullPointer);
}

TEST_F(JsonObjectSlots, Slot10IsAPointerToAString) {
  EXPECT_STREQ(object.getStringPtr("string"), "text");
  EXPECT_EQ(object.getStringPtr("string"), object.getStringPtr("string"));
  for (const char* const key : {"null", "number", "array", "object", "bool", "missing"}) {
    EXPECT_EQ(object.getStringPtr(key), nullptr) << key;
  }
  EXPECT_EQ(object.getStringPtr(nullptr), nullptr);
}

TEST_F(JsonObjectSlots, Slot11IsANumber) {
  int32_t value = 5;
  EXPECT_EQ(object.getInteger("number", &value), kOk);
  EXPECT_EQ(value, -7);
}

TEST_F(JsonObjectSlots, Slot11LeavesTheOutOnFailure) {
  int32_t value = 5;
  for (const char* const key : {"null", "string", "array", "object", "bool", "missing"}) {
    EXPECT_EQ(object.getInteger(key, &value), kFail) << key;
  }
  EXPECT_EQ(object.getInteger(nullptr, &value), kFail);
  EXPECT_EQ(value, 5);
  EXPECT_EQ(object.getInteger("number", nullptr), kNullPointer);
}

TEST_F(JsonObjectSlots, Slot12IsAnObject) {
  RawObject inner;
  EXPECT_EQ(object.getObject("object", inner.put()), kOk);
  EXPECT_EQ(describe(treeOf(inner)), "{'x':1}");
}

TEST_F(JsonObjectSlots, Slot12FailsAsQueryInterfaceDoesForOtherKinds) {
  for (const char* const key : {"null", "number", "string", "array", "bool"}) {
    void* out = this;
    EXPECT_EQ(object.getObject(key, &out), kNoInterface) << key;
    EXPECT_EQ(out, nullptr);
  }
}

TEST_F(JsonObjectSlots, Slot12FailsForAnAbsentMember) {
  for (const char* const key : {"missing", static_cast<const char*>(nullptr)}) {
    void* out = this;
    EXPECT_EQ(object.getObject(key, &out), kFail);
    EXPECT_EQ(out, nullptr);
  }
  EXPECT_EQ(object.getObject("object", nullptr), kNullPointer);
}

TEST_F(JsonObjectSlots, Slot13IsAnArray) {
  RawArray inner;
  EXPECT_EQ(object.getArray("array", inner.put()), kOk);
  EXPECT_EQ(inner.getType(), 4u);
  EXPECT_EQ(inner.getCount(), 2u);
}

TEST_F(JsonObjectSlots, Slot13FailsAsQueryInterfaceDoesForOtherKinds) {
  for (const char* const key : {"null", "number", "string", "object", "bool"}) {
    void* out = this;
    EXPECT_EQ(object.getArray(key, &out), kNoInterface) << key;
    EXPECT_EQ(out, nullptr);
  }
}

TEST_F(JsonObjectSlots, Slot13FailsForAnAbsentMember) {
  for (const char* const key : {"missing", static_cast<const char*>(nullptr)}) {
    void* out = this;
    EXPECT_EQ(object.getArray(key, &out), kFail);
    EXPECT_EQ(out, nullptr);
  }
  EXPECT_EQ(object.getArray("array", nullptr), kNullPointer);
}

TEST_F(JsonObjectSlots, Slot14IsATruthValue) {
  uint32_t value = 7;
  EXPECT_EQ(object.getBool("bool", &value), kOk);
  EXPECT_EQ(value, 1u);
  EXPECT_EQ(parsed(R"({"a":false})").getBool("a", &value), kOk);
  EXPECT_EQ(value, 0u);
}

TEST_F(JsonObjectSlots, Slot14LeavesTheOutOnFailure) {
  uint32_t value = 7;
  for (const char* const key : {"null", "number", "string", "array", "object", "missing"}) {
    EXPECT_EQ(object.getBool(key, &value), kFail) << key;
  }
  EXPECT_EQ(object.getBool(nullptr, &value), kFail);
  EXPECT_EQ(value, 7u);
  EXPECT_EQ(object.getBool("bool", nullptr), kNullPointer);
}

// --- setters ---

TEST_F(JsonObjectSlots, SettersAppendNewMembersInOrder) {
  const RawObject made = createObject();
  RawReference inner;
  EXPECT_EQ(made.setString("z", "text"), kOk);
  EXPECT_EQ(made.setInteger("y", -2), kOk);
  EXPECT_EQ(made.addObject("x", inner.put()), kOk);
  EXPECT_EQ(made.addArray("w", inner.put()), kOk);
  EXPECT_EQ(made.setBool("v", 1), kOk);
  EXPECT_EQ(made.setNull("u"), kOk);
  EXPECT_EQ(describe(treeOf(made)), "{'z':'text','y':-2,'x':{},'w':[],'v':true,'u':null}");
}

TEST_F(JsonObjectSlots, SettersReplaceMembersWhereTheyStand) {
  RawReference inner;
  EXPECT_EQ(object.setString("null", "s"), kOk);
  EXPECT_EQ(object.setInteger("string", 3), kOk);
  EXPECT_EQ(object.addObject("number", inner.put()), kOk);
  EXPECT_EQ(object.addArray("bool", inner.put()), kOk);
  EXPECT_EQ(object.setBool("array", 0), kOk);
  EXPECT_EQ(object.setNull("object"), kOk);
  EXPECT_EQ(tree(), "{'null':'s','number':{},'string':3,'array':false,'object':null,'bool':[]}");
}

TEST_F(JsonObjectSlots, TheLastOfTwoSettersCounts) {
  const RawObject made = createObject();
  EXPECT_EQ(made.setInteger("a", 1), kOk);
  EXPECT_EQ(made.setInteger("b", 2), kOk);
  EXPECT_EQ(made.setInteger("a", 3), kOk);
  EXPECT_EQ(describe(treeOf(made)), "{'a':3,'b':2}");
}

TEST_F(JsonObjectSlots, SettersTellKeysApartByCaseAndLength) {
  const RawObject made = createObject();
  for (const char* const key : {"a", "A", "aa", "", "a "}) {
    EXPECT_EQ(made.setNull(key), kOk);
  }
  EXPECT_EQ(made.getCount(), 5u);
}

TEST_F(JsonObjectSlots, SettersCopyKeyAndText) {
  const RawObject made = createObject();
  {
    const ExactText key("key");
    const ExactText text("text");
    EXPECT_EQ(made.setString(key, text), kOk);
  }
  EXPECT_EQ(describe(treeOf(made)), "{'key':'text'}");
}

TEST_F(JsonObjectSlots, SettersTakeAnyBytes) {
  const RawObject made = createObject();
  EXPECT_EQ(made.setString("\x01\x7F\xFF", "\\u0041\"\xFE"), kOk);
  EXPECT_EQ(describe(treeOf(made)), R"({'<01><7F><FF>':'\u0041"<FE>'})");
}

TEST_F(JsonObjectSlots, SettersRefuseANullKey) {
  const std::string before = tree();
  void* out = this;
  EXPECT_EQ(object.setString(nullptr, "x"), kFail);
  EXPECT_EQ(object.setString(nullptr, nullptr), kFail);
  EXPECT_EQ(object.setInteger(nullptr, 1), kFail);
  EXPECT_EQ(object.addObject(nullptr, &out), kFail);
  EXPECT_EQ(out, nullptr);
  out = this;
  EXPECT_EQ(object.addArray(nullptr, &out), kFail);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(object.setBool(nullptr, 1), kFail);
  EXPECT_EQ(object.setNull(nullptr), kFail);
  EXPECT_EQ(tree(), before);
}

TEST_F(JsonObjectSlots, Slot15RefusesANullText) {
  const std::string before = tree();
  EXPECT_EQ(object.setString("string", nullptr), kInvalidArgument);
  EXPECT_EQ(object.setString("new", nullptr), kInvalidArgument);
  EXPECT_EQ(tree(), before);
}

TEST_F(JsonObjectSlots, Slot15SetsAnEmptyText) {
  EXPECT_EQ(object.setString("string", ""), kOk);
  EXPECT_STREQ(object.getStringPtr("string"), "");
}

TEST_F(JsonObjectSlots, Slot16SetsTheEndsOfTheRange) {
  for (const int32_t value : {INT32_MIN, -1, 0, 1, INT32_MAX}) {
    int32_t out = 5;
    EXPECT_EQ(object.setInteger("number", value), kOk);
    EXPECT_EQ(object.getInteger("number", &out), kOk);
    EXPECT_EQ(out, value);
  }
}

TEST_F(JsonObjectSlots, Slots17And18HandOutWhatTheyStored) {
  RawObject inner;
  RawArray array;
  ASSERT_EQ(object.addObject("o", inner.put()), kOk);
  ASSERT_EQ(object.addArray("a", array.put()), kOk);
  EXPECT_EQ(inner.getType(), 5u);
  EXPECT_EQ(array.getType(), 4u);
  EXPECT_EQ(inner.setInteger("x", 1), kOk);
  EXPECT_EQ(array.setIntegerAt(0, 2), kOk);
  RawObject sameObject;
  RawArray sameArray;
  ASSERT_EQ(object.getObject("o", sameObject.put()), kOk);
  ASSERT_EQ(object.getArray("a", sameArray.put()), kOk);
  EXPECT_EQ(sameObject.get(), inner.get());
  EXPECT_EQ(sameArray.get(), array.get());
}

TEST_F(JsonObjectSlots, Slots17And18RefuseANullOut) {
  const std::string before = tree();
  EXPECT_EQ(object.addObject("o", nullptr), kNullPointer);
  EXPECT_EQ(object.addArray("a", nullptr), kNullPointer);
  EXPECT_EQ(tree(), before);
}

TEST_F(JsonObjectSlots, Slot19TakesEveryValueButZeroAsTrue) {
  for (const uint8_t value : std::initializer_list<uint8_t>{0, 1, 2, 0x80, 0xFF}) {
    uint32_t out = 7;
    EXPECT_EQ(object.setBool("bool", value), kOk);
    EXPECT_EQ(object.getBool("bool", &out), kOk);
    EXPECT_EQ(out, value != 0 ? 1u : 0u);
  }
}

TEST_F(JsonObjectSlots, Slot20SetsNull) {
  EXPECT_EQ(object.setNull("array"), kOk);
  EXPECT_EQ(object.getTypeOf("array"), 1u);
}

}  // namespace
}  // namespace vexa::test
