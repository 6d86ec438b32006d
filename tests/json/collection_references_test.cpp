#include <gtest/gtest.h>

#include <string>

#include "json_fixture.h"
#include "support/allocation_gate.h"

// Who holds references to objects and arrays, and for how long.
namespace vexa::test {
namespace {

constexpr uint64_t kAtEnd = ~uint64_t{0};

class JsonReferences : public JsonTest {
 protected:
  void SetUp() override {
    JsonTest::SetUp();
    processBlocks_ = allocation_gate::liveProcessBlocks();
  }
  void TearDown() override {
    EXPECT_EQ(allocation_gate::liveProcessBlocks(), processBlocks_) << "every value has ended";
    JsonTest::TearDown();
  }

  RawObject added(const RawObject& parent, const char* key) const {
    RawObject child;
    EXPECT_EQ(parent.addObject(key, child.put()), kOk);
    return child;
  }
  RawArray addedArray(const RawObject& parent, const char* key) const {
    RawArray child;
    EXPECT_EQ(parent.addArray(key, child.put()), kOk);
    return child;
  }
  // The references to the object that stands there, without the one it takes to look.
  uint32_t referencesOf(const RawObject& parent, const char* key) const {
    RawObject child;
    EXPECT_EQ(parent.getObject(key, child.put()), kOk);
    return child.references() - 1;
  }
  uint32_t referencesAt(const RawArray& parent, uint64_t index) const {
    RawObject child;
    EXPECT_EQ(parent.getObjectAt(index, child.put()), kOk);
    return child.references() - 1;
  }

 private:
  int64_t processBlocks_ = 0;
};

TEST_F(JsonReferences, AddRefAndReleaseTellTheCount) {
  RawObject object = createObject();
  EXPECT_EQ(object.addRef(), 2u);
  EXPECT_EQ(object.addRef(), 3u);
  EXPECT_EQ(call<uint32_t>(object.get(), 2), 2u);
  EXPECT_EQ(call<uint32_t>(object.get(), 2), 1u);
  EXPECT_EQ(object.release(), 0u);
}

TEST_F(JsonReferences, QueryInterfaceAddsOne) {
  RawObject object = createObject();
  RawObject same;
  ASSERT_EQ(object.queryInterface(IID_IJsonObject, same.put()), kOk);
  EXPECT_EQ(object.references(), 2u);
  EXPECT_EQ(same.release(), 1u);
}

TEST_F(JsonReferences, OfAnAddedObjectAreTheParentsAndTheCallers) {
  const RawObject parent = createObject();
  RawObject object = added(parent, "o");
  RawArray array = addedArray(parent, "a");
  EXPECT_EQ(object.references(), 2u);
  EXPECT_EQ(array.references(), 2u);
  EXPECT_EQ(object.release(), 1u);
  EXPECT_EQ(array.release(), 1u);
  EXPECT_EQ(referencesOf(parent, "o"), 1u);
  EXPECT_EQ(parent.references(), 1u);
}

TEST_F(JsonReferences, OfAPlacedObjectAreTheArraysAndTheCallers) {
  const RawObject parent = createObject();
  const RawArray array = addedArray(parent, "a");
  RawObject object;
  RawArray inner;
  ASSERT_EQ(array.addObjectAt(0, object.put()), kOk);
  ASSERT_EQ(array.addArrayAt(kAtEnd, inner.put()), kOk);
  EXPECT_EQ(object.references(), 2u);
  EXPECT_EQ(inner.references(), 2u);
  EXPECT_EQ(object.release(), 1u);
  EXPECT_EQ(inner.release(), 1u);
  EXPECT_EQ(referencesAt(array, 0), 1u);
  EXPECT_EQ(array.references(), 2u);
}

TEST_F(JsonReferences, EachGetterOfAnObjectAddsOneForTheCaller) {
  for (const bool isParsed : {false, true}) {
    const RawObject parent = isParsed ? parsed(R"({"o":{},"a":[]})") : createObject();
    if (!isParsed) {
      (void)added(parent, "o");
      (void)addedArray(parent, "a");
    }
    RawObject object;
    RawObject again;
    RawArray array;
    ASSERT_EQ(parent.getObject("o", object.put()), kOk);
    EXPECT_EQ(object.references(), 2u);
    ASSERT_EQ(parent.getObject("o", again.put()), kOk);
    EXPECT_EQ(object.references(), 3u);
    EXPECT_EQ(again.release(), 2u);
    ASSERT_EQ(parent.getArray("a", array.put()), kOk);
    EXPECT_EQ(array.references(), 2u);
    EXPECT_EQ(parent.references(), 1u);
  }
}

TEST_F(JsonReferences, EachGetterOfAnArrayAddsOneForTheCaller) {
  const RawObject parent = parsed(R"({"a":[{},[]]})");
  RawArray array;
  RawObject object;
  RawArray inner;
  ASSERT_EQ(parent.getArray("a", array.put()), kOk);
  ASSERT_EQ(array.getObjectAt(0, object.put()), kOk);
  ASSERT_EQ(array.getArrayAt(1, inner.put()), kOk);
  EXPECT_EQ(object.references(), 2u);
  EXPECT_EQ(inner.references(), 2u);
  EXPECT_EQ(array.references(), 2u);
}

TEST_F(JsonReferences, StayAsTheyAreWhenAnOperationOnlyLooksOrFails) {
  const RawObject parent = createObject();
  const RawObject child = added(parent, "o");
  const RawArray array = addedArray(parent, "a");
  StringHolder string;
  int32_t number = 0;
  uint32_t truth = 0;
  void* out = nullptr;
  EXPECT_EQ(parent.getTypeOf("o"), 5u);
  EXPECT_EQ(parent.getKeyAt(0, string.get()), kOk);
  EXPECT_NE(parent.getKeyPtrAt(0), nullptr);
  EXPECT_EQ(parent.getString("o", string.get()), kFail);
  EXPECT_EQ(parent.getStringPtr("o"), nullptr);
  EXPECT_EQ(parent.getInteger("o", &number), kFail);
  EXPECT_EQ(parent.getBool("o", &truth), kFail);
  EXPECT_EQ(parent.getArray("o", &out), kNoInterface);
  EXPECT_EQ(parent.getObject("a", &out), kNoInterface);
  EXPECT_EQ(parent.setString("o", nullptr), kInvalidArgument);
  EXPECT_EQ(parent.addObject("o", nullptr), kNullPointer);
  EXPECT_EQ(array.setNullAt(7), kFail);
  EXPECT_EQ(array.addObjectAt(7, &out), kFail);
  EXPECT_EQ(array.getObjectAt(0, &out), kFail);
  (void)textOf(parent);
  EXPECT_EQ(parent.references(), 1u);
  EXPECT_EQ(child.references(), 2u);
  EXPECT_EQ(array.references(), 2u);
}

TEST_F(JsonReferences, AReplacedMemberLosesItsParentsReference) {
  using Setter = int32_t (*)(const RawObject& object);
  static constexpr Setter kSetters[] = {
      [](const RawObject& object) { return object.setString("k", "x"); },
      [](const RawObject& object) { return object.setInteger("k", 1); },
      [](const RawObject& object) { return object.addObject("k", RawObject().put()); },
      [](const RawObject& object) { return object.addArray("k", RawArray().put()); },
      [](const RawObject& object) { return object.setBool("k", 1); },
      [](const RawObject& object) { return object.setNull("k"); },
  };
  for (const Setter set : kSetters) {
    const RawObject parent = createObject();
    RawObject object = added(parent, "k");
    EXPECT_EQ(set(parent), kOk);
    EXPECT_EQ(object.references(), 1u);
    RawArray array = addedArray(parent, "k");
    EXPECT_EQ(set(parent), kOk);
    EXPECT_EQ(array.references(), 1u);
    EXPECT_EQ(parent.getCount(), 1u);
    EXPECT_EQ(parent.references(), 1u);
  }
}

TEST_F(JsonReferences, AReplacedElementLosesItsArraysReference) {
  using Setter = int32_t (*)(const RawArray& array);
  static constexpr Setter kSetters[] = {
      [](const RawArray& array) { return array.setStringAt(0, "x"); },
      [](const RawArray& array) { return array.setIntegerAt(0, 1); },
      [](const RawArray& array) { return array.addObjectAt(0, RawObject().put()); },
      [](const RawArray& array) { return array.addArrayAt(0, RawArray().put()); },
      [](const RawArray& array) { return array.setBoolAt(0, 1); },
      [](const RawArray& array) { return array.setNullAt(0); },
  };
  for (const Setter set : kSetters) {
    const RawObject parent = createObject();
    const RawArray array = addedArray(parent, "a");
    RawObject object;
    ASSERT_EQ(array.addObjectAt(0, object.put()), kOk);
    EXPECT_EQ(set(array), kOk);
    EXPECT_EQ(object.references(), 1u);
    RawArray inner;
    ASSERT_EQ(array.addArrayAt(0, inner.put()), kOk);
    EXPECT_EQ(set(array), kOk);
    EXPECT_EQ(inner.references(), 1u);
    EXPECT_EQ(array.getCount(), 1u);
    EXPECT_EQ(array.references(), 2u);
  }
}

TEST_F(JsonReferences, AReplacedMemberOfAParsedTreeLivesOnWithItsHolder) {
  const RawObject parent = parsed(R"({"o":{"x":["kept"]}})");
  RawObject object;
  ASSERT_EQ(parent.getObject("o", object.put()), kOk);
  EXPECT_EQ(parent.setNull("o"), kOk);
  EXPECT_EQ(object.references(), 1u);
  EXPECT_EQ(describe(treeOf(object)), "{'x':['kept']}");
}

TEST_F(JsonReferences, AReplacedMemberThatNobodyHoldsEnds) {
  const RawObject parent = createObject();
  (void)parent.setNull("o");
  const int64_t blocks = spy.liveBlocks();
  const int64_t processBlocks = allocation_gate::liveProcessBlocks();
  {
    const RawObject child = added(parent, "o");
    EXPECT_EQ(child.setString("long", std::string(500, 'x').c_str()), kOk);
  }
  EXPECT_EQ(parent.setNull("o"), kOk);
  EXPECT_EQ(spy.liveBlocks(), blocks);
  EXPECT_EQ(allocation_gate::liveProcessBlocks(), processBlocks);
}

TEST_F(JsonReferences, AValueWithoutAPlaceEnds) {
  const RawObject parent = createObject();
  const RawArray array = addedArray(parent, "a");
  const int64_t blocks = spy.liveBlocks();
  const int64_t processBlocks = allocation_gate::liveProcessBlocks();
  void* out = nullptr;
  EXPECT_EQ(array.setStringAt(1, "x"), kFail);
  EXPECT_EQ(array.setIntegerAt(1, 1), kFail);
  EXPECT_EQ(array.addObjectAt(1, &out), kFail);
  EXPECT_EQ(array.addArrayAt(1, &out), kFail);
  EXPECT_EQ(array.setBoolAt(1, 1), kFail);
  EXPECT_EQ(array.setNullAt(1), kFail);
  EXPECT_EQ(parent.addObject(nullptr, &out), kFail);
  EXPECT_EQ(parent.setString(nullptr, "x"), kFail);
  EXPECT_EQ(spy.liveBlocks(), blocks);
  EXPECT_EQ(allocation_gate::liveProcessBlocks(), processBlocks);
}

TEST_F(JsonReferences, OnlyTheFirstOfRepeatedObjectsIsThere) {
  const RawObject parent = parsed(R"({"a":{"x":1},"a":{"y":2},"a":[{}],"b":[{"a":{},"a":{}}]})");
  EXPECT_EQ(parent.getCount(), 2u);
  EXPECT_EQ(referencesOf(parent, "a"), 1u);
  RawArray array;
  ASSERT_EQ(parent.getArray("b", array.put()), kOk);
  EXPECT_EQ(array.references(), 2u);
  EXPECT_EQ(referencesAt(array, 0), 1u);
}

TEST_F(JsonReferences, ThatAreHeldOutliveTheTree) {
  for (const bool isParsed : {false, true}) {
    RawObject root = isParsed ? parsed(R"({"o":{"a":[{"s":"text"}]}})") : createObject();
    if (!isParsed) {
      const RawArray made = addedArray(added(root, "o"), "a");
      RawObject leaf;
      ASSERT_EQ(made.addObjectAt(0, leaf.put()), kOk);
      ASSERT_EQ(leaf.setString("s", "text"), kOk);
    }
    RawObject object;
    RawArray array;
    RawObject leaf;
    ASSERT_EQ(root.getObject("o", object.put()), kOk);
    ASSERT_EQ(object.getArray("a", array.put()), kOk);
    ASSERT_EQ(array.getObjectAt(0, leaf.put()), kOk);

    EXPECT_EQ(root.release(), 0u);
    EXPECT_EQ(object.references(), 1u);
    EXPECT_EQ(array.references(), 2u);
    EXPECT_EQ(leaf.references(), 2u);
    EXPECT_EQ(describe(treeOf(object)), "{'a':[{'s':'text'}]}");

    EXPECT_EQ(object.release(), 0u);
    EXPECT_EQ(array.references(), 1u);
    EXPECT_EQ(leaf.references(), 2u);

    EXPECT_EQ(array.release(), 0u);
    EXPECT_EQ(leaf.references(), 1u);
    EXPECT_STREQ(leaf.getStringPtr("s"), "text");
    EXPECT_EQ(leaf.setString("s", "another"), kOk);
    EXPECT_EQ(textOf(leaf), "{\n\"s\" : \"another\"\n}\n");
    EXPECT_EQ(leaf.release(), 0u);
  }
}

TEST_F(JsonReferences, ToAHeldObjectLeaveItsParentFree) {
  RawObject root = parsed(R"({"o":{}})");
  RawObject child;
  ASSERT_EQ(root.getObject("o", child.put()), kOk);
  EXPECT_EQ(root.references(), 1u) << "children do not refer to their parents";
  EXPECT_EQ(root.release(), 0u);
}

}  // namespace
}  // namespace vexa::test
