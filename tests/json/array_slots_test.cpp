#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

#include "json_fixture.h"

// IJsonArray slot by slot.
namespace vexa::test {
namespace {

constexpr uint64_t kAtEnd = ~uint64_t{0};
constexpr std::string_view kEveryKind = R"({"a":[null,-7,"text",[1,2],{"x":1},true]})";
enum : uint64_t { kNullAt, kNumberAt, kStringAt, kArrayAt, kObjectAt, kBoolAt, kCount };

class JsonArraySlots : public JsonTest {
 protected:
  void SetUp() override {
    JsonTest::SetUp();
    owner = parsed(kEveryKind);
    ASSERT_EQ(owner.getArray("a", array.put()), kOk);
  }
  void TearDown() override {
    array.reset();
    owner.reset();
    JsonTest::TearDown();
  }

  std::string tree() const { return describe(treeOf(owner)); }
  // An array of its own in a new object.
  RawArray newArray() {
    owner = createObject();
    RawArray made;
    EXPECT_EQ(owner.addArray("a", made.put()), kOk);
    return made;
  }

  RawObject owner;
  RawArray array;
};

TEST_F(JsonArraySlots, Slot3IsTheType) { EXPECT_EQ(array.getType(), 4u); }

TEST_F(JsonArraySlots, Slot4CountsTheElements) {
  EXPECT_EQ(array.getCount(), uint64_t{kCount});
  EXPECT_EQ(newArray().getCount(), 0u);
}

TEST_F(JsonArraySlots, Slot5IsTheTypeOfAnElement) {
  for (uint64_t index = 0; index < kCount; ++index) {
    EXPECT_EQ(array.getTypeAt(index), index + 1);
  }
  EXPECT_EQ(array.getTypeAt(kCount), 0u);
  EXPECT_EQ(array.getTypeAt(kAtEnd), 0u);
}

TEST_F(JsonArraySlots, Slot6CopiesAString) {
  StringHolder value;
  EXPECT_EQ(array.getStringAt(kStringAt, value.get()), kOk);
  EXPECT_EQ(value.bytes(), "text");
  EXPECT_EQ(array.getStringAt(kStringAt, nullptr), kNullPointer);
}

TEST_F(JsonArraySlots, Slot6LeavesTheOutOnFailure) {
  StringHolder value;
  ASSERT_EQ(array.getStringAt(kStringAt, value.get()), kOk);
  for (const uint64_t index : {uint64_t{kNullAt}, uint64_t{kNumberAt}, uint64_t{kArrayAt},
                               uint64_t{kObjectAt}, uint64_t{kBoolAt}, uint64_t{kCount}, kAtEnd}) {
    EXPECT_EQ(array.getStringAt(index, value.get()), kFail) << index;
  }
  EXPECT_EQ(value.bytes(), "text");
}

TEST_F(JsonArraySlots, Slot7IsAPointerToAString) {
  EXPECT_STREQ(array.getStringPtrAt(kStringAt), "text");
  for (const uint64_t index : {uint64_t{kNullAt}, uint64_t{kNumberAt}, uint64_t{kArrayAt},
                               uint64_t{kObjectAt}, uint64_t{kBoolAt}, uint64_t{kCount}, kAtEnd}) {
    EXPECT_EQ(array.getStringPtrAt(index), nullptr) << index;
  }
}

TEST_F(JsonArraySlots, Slot8IsANumber) {
  int32_t value = 5;
  for (const uint64_t index : {uint64_t{kNullAt}, uint64_t{kStringAt}, uint64_t{kArrayAt},
                               uint64_t{kObjectAt}, uint64_t{kBoolAt}, uint64_t{kCount}, kAtEnd}) {
    EXPECT_EQ(array.getIntegerAt(index, &value), kFail) << index;
  }
  EXPECT_EQ(value, 5);
  EXPECT_EQ(array.getIntegerAt(kNumberAt, nullptr), kNullPointer);
  EXPECT_EQ(array.getIntegerAt(kNumberAt, &value), kOk);
  EXPECT_EQ(value, -7);
}

TEST_F(JsonArraySlots, Slot9IsAnObject) {
  RawObject inner;
  EXPECT_EQ(array.getObjectAt(kObjectAt, inner.put()), kOk);
  EXPECT_EQ(describe(treeOf(inner)), "{'x':1}");
  EXPECT_EQ(array.getObjectAt(kObjectAt, nullptr), kNullPointer);
}

TEST_F(JsonArraySlots, Slot9FailsAsQueryInterfaceDoesForOtherKinds) {
  for (const uint64_t index : {uint64_t{kNullAt}, uint64_t{kNumberAt}, uint64_t{kStringAt},
                               uint64_t{kArrayAt}, uint64_t{kBoolAt}}) {
    void* out = this;
    EXPECT_EQ(array.getObjectAt(index, &out), kNoInterface) << index;
    EXPECT_EQ(out, nullptr);
  }
}

TEST_F(JsonArraySlots, Slot10IsAnArray) {
  RawArray inner;
  EXPECT_EQ(array.getArrayAt(kArrayAt, inner.put()), kOk);
  EXPECT_EQ(inner.getCount(), 2u);
  EXPECT_EQ(array.getArrayAt(kArrayAt, nullptr), kNullPointer);
}

TEST_F(JsonArraySlots, Slot10FailsAsQueryInterfaceDoesForOtherKinds) {
  for (const uint64_t index : {uint64_t{kNullAt}, uint64_t{kNumberAt}, uint64_t{kStringAt},
                               uint64_t{kObjectAt}, uint64_t{kBoolAt}}) {
    void* out = this;
    EXPECT_EQ(array.getArrayAt(index, &out), kNoInterface) << index;
    EXPECT_EQ(out, nullptr);
  }
}

TEST_F(JsonArraySlots, Slots9And10FailOutOfRange) {
  for (const uint64_t index : {uint64_t{kCount}, uint64_t{kCount} + 1, kAtEnd}) {
    void* out = this;
    EXPECT_EQ(array.getObjectAt(index, &out), kFail);
    EXPECT_EQ(out, nullptr);
    out = this;
    EXPECT_EQ(array.getArrayAt(index, &out), kFail);
    EXPECT_EQ(out, nullptr);
  }
}

TEST_F(JsonArraySlots, Slot11IsATruthValue) {
  uint32_t value = 7;
  for (const uint64_t index : {uint64_t{kNullAt}, uint64_t{kNumberAt}, uint64_t{kStringAt},
                               uint64_t{kArrayAt}, uint64_t{kObjectAt}, uint64_t{kCount}, kAtEnd}) {
    EXPECT_EQ(array.getBoolAt(index, &value), kFail) << index;
  }
  EXPECT_EQ(value, 7u);
  EXPECT_EQ(array.getBoolAt(kBoolAt, nullptr), kNullPointer);
  EXPECT_EQ(array.getBoolAt(kBoolAt, &value), kOk);
  EXPECT_EQ(value, 1u);
}

// --- setters: what each of them does, and what all of them share ---

struct Setter {
  const char* name;
  int32_t (*place)(const RawArray& array, uint64_t index, void** out);
  const char* placed;  // as describe() shows it
};
void PrintTo(const Setter& value, std::ostream* out) { *out << value.name; }

constexpr Setter kSetters[] = {
    {"Slot12",
     [](const RawArray& a, uint64_t index, void**) { return a.setStringAt(index, "new"); },
     "'new'"},
    {"Slot13",
     [](const RawArray& a, uint64_t index, void**) { return a.setIntegerAt(index, INT32_MIN); },
     "-2147483648"},
    {"Slot14",
     [](const RawArray& a, uint64_t index, void** out) { return a.addObjectAt(index, out); }, "{}"},
    {"Slot15",
     [](const RawArray& a, uint64_t index, void** out) { return a.addArrayAt(index, out); }, "[]"},
    {"Slot16", [](const RawArray& a, uint64_t index, void**) { return a.setBoolAt(index, 0x80); },
     "true"},
    {"Slot17", [](const RawArray& a, uint64_t index, void**) { return a.setNullAt(index); },
     "null"},
};

class JsonArraySetters : public JsonArraySlots, public ::testing::WithParamInterface<Setter> {
 protected:
  void SetUp() override {
    JsonArraySlots::SetUp();
    owner = parsed(R"({"a":[1,2,3]})");
    ASSERT_EQ(owner.getArray("a", array.put()), kOk);
  }

  int32_t place(uint64_t index) {
    RawReference out;
    return GetParam().place(array, index, out.put());
  }
  // The array's text with @ for the new value.
  static std::string with(std::string text) {
    for (size_t at = text.find('@'); at != std::string::npos; at = text.find('@')) {
      text.replace(at, 1, GetParam().placed);
    }
    return text;
  }
};

TEST_P(JsonArraySetters, ReplaceBelowTheCount) {
  EXPECT_EQ(place(1), kOk);
  EXPECT_EQ(tree(), with("{'a':[1,@,3]}"));
  EXPECT_EQ(place(0), kOk);
  EXPECT_EQ(place(2), kOk);
  EXPECT_EQ(tree(), with("{'a':[@,@,@]}"));
}

TEST_P(JsonArraySetters, AppendAtTheCount) {
  EXPECT_EQ(place(3), kOk);
  EXPECT_EQ(tree(), with("{'a':[1,2,3,@]}"));
}

TEST_P(JsonArraySetters, AppendAtAllOnes) {
  EXPECT_EQ(place(kAtEnd), kOk);
  EXPECT_EQ(place(kAtEnd), kOk);
  EXPECT_EQ(tree(), with("{'a':[1,2,3,@,@]}"));
}

TEST_P(JsonArraySetters, AppendToAnEmptyArray) {
  array = newArray();
  EXPECT_EQ(place(0), kOk);
  EXPECT_EQ(place(1), kOk);
  EXPECT_EQ(tree(), with("{'a':[@,@]}"));
  array = newArray();
  EXPECT_EQ(place(kAtEnd), kOk);
  EXPECT_EQ(tree(), with("{'a':[@]}"));
}

TEST_P(JsonArraySetters, FailAboveTheCount) {
  for (const uint64_t index : {uint64_t{4}, uint64_t{5}, uint64_t{1} << 32, kAtEnd - 1}) {
    void* out = nullptr;
    EXPECT_EQ(GetParam().place(array, index, &out), kFail) << index;
    EXPECT_EQ(out, nullptr);
  }
  EXPECT_EQ(tree(), "{'a':[1,2,3]}");
}

INSTANTIATE_TEST_SUITE_P(All, JsonArraySetters, ::testing::ValuesIn(kSetters),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_F(JsonArraySlots, Slot12RefusesANullTextAtAnyIndex) {
  const std::string before = tree();
  for (const uint64_t index : {uint64_t{0}, uint64_t{kCount}, uint64_t{100}, kAtEnd}) {
    EXPECT_EQ(array.setStringAt(index, nullptr), kInvalidArgument);
  }
  EXPECT_EQ(tree(), before);
}

TEST_F(JsonArraySlots, Slot12CopiesTheText) {
  {
    const ExactText text("x/\xFF");
    EXPECT_EQ(array.setStringAt(0, text), kOk);
  }
  EXPECT_STREQ(array.getStringPtrAt(0), "x/\xFF");
  EXPECT_EQ(array.setStringAt(0, ""), kOk);
  EXPECT_STREQ(array.getStringPtrAt(0), "");
}

TEST_F(JsonArraySlots, Slots14And15HandOutWhatTheyStored) {
  RawObject object;
  RawArray inner;
  ASSERT_EQ(array.addObjectAt(0, object.put()), kOk);
  ASSERT_EQ(array.addArrayAt(kAtEnd, inner.put()), kOk);
  EXPECT_EQ(object.setInteger("x", 1), kOk);
  EXPECT_EQ(inner.setNullAt(kAtEnd), kOk);
  EXPECT_EQ(tree(), "{'a':[{'x':1},-7,'text',[1,2],{'x':1},true,[null]]}");
  RawObject sameObject;
  RawArray sameArray;
  EXPECT_EQ(array.getObjectAt(0, sameObject.put()), kOk);
  EXPECT_EQ(array.getArrayAt(6, sameArray.put()), kOk);
  EXPECT_EQ(sameObject.get(), object.get());
  EXPECT_EQ(sameArray.get(), inner.get());
}

TEST_F(JsonArraySlots, Slots14And15RefuseANullOut) {
  const std::string before = tree();
  EXPECT_EQ(array.addObjectAt(0, nullptr), kNullPointer);
  EXPECT_EQ(array.addArrayAt(0, nullptr), kNullPointer);
  EXPECT_EQ(tree(), before);
}

TEST_F(JsonArraySlots, Slot16TakesEveryValueButZeroAsTrue) {
  for (const uint8_t value : std::initializer_list<uint8_t>{0, 1, 2, 0x80, 0xFF}) {
    uint32_t out = 7;
    EXPECT_EQ(array.setBoolAt(2, value), kOk);
    EXPECT_EQ(array.getBoolAt(2, &out), kOk);
    EXPECT_EQ(out, value != 0 ? 1u : 0u);
  }
}

TEST_F(JsonArraySlots, GrowsByOneSlotAtATime) {
  array = newArray();
  std::vector<uint64_t> sizes;
  static std::vector<uint64_t>* grown = nullptr;
  static void* (*reallocate)(void*, uint64_t) = nullptr;
  grown = &sizes;
  reallocate = spy.root.Reallocate;
  spy.root.Reallocate = [](void* block, uint64_t size) {
    grown->push_back(size);
    return reallocate(block, size);
  };
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(array.setNullAt(kAtEnd), kOk);
  }
  spy.root.Reallocate = reallocate;
  EXPECT_EQ(sizes, (std::vector<uint64_t>{8, 16, 24, 32}));
}

}  // namespace
}  // namespace vexa::test
