#include <gtest/gtest.h>

#include <string>

#include "json_fixture.h"

// The list "jsonapi" entry by entry.
namespace vexa::test {
namespace {

class JsonApi : public JsonTest {
 protected:
  int32_t getModuleInfo(const char** name, const char** host, const char** version) const {
    return tableEntry<int32_t(const char**, const char**, const char**)>(api, 0)(name, host,
                                                                                 version);
  }
};

TEST_F(JsonApi, IsFoundByItsName) {
  EXPECT_EQ(list("jsonapi"), api);
  EXPECT_EQ(list("JSONAPI"), nullptr);
}

TEST_F(JsonApi, Slot0TellsTheNameOfTheList) {
  const char* name = nullptr;
  const char* host = "unwritten";
  const char* version = nullptr;
  EXPECT_EQ(getModuleInfo(&name, &host, &version), kOk);
  EXPECT_STREQ(name, "jsonapi");
  EXPECT_EQ(host, nullptr);
  EXPECT_STREQ(version, "");
}

TEST_F(JsonApi, Slot0SkipsNullOuts) {
  EXPECT_EQ(getModuleInfo(nullptr, nullptr, nullptr), kOk);
  const char* version = nullptr;
  EXPECT_EQ(getModuleInfo(nullptr, nullptr, &version), kOk);
  EXPECT_STREQ(version, "");
}

TEST_F(JsonApi, Slot1MakesAnEmptyObject) {
  const RawObject object = createObject();
  EXPECT_EQ(object.getType(), 5u);
  EXPECT_EQ(object.getCount(), 0u);
  EXPECT_EQ(object.references(), 1u);
}

TEST_F(JsonApi, Slot1MakesADifferentObjectEachTime) {
  const RawObject first = createObject();
  const RawObject second = createObject();
  EXPECT_NE(first.get(), second.get());
  EXPECT_EQ(first.setNull("a"), kOk);
  EXPECT_EQ(second.getCount(), 0u);
}

TEST_F(JsonApi, Slot1RefusesANullOut) { EXPECT_EQ(createObject(nullptr), kInvalidArgument); }

TEST_F(JsonApi, Slot2ParsesAText) {
  const RawObject object = parsed(R"({"a":1})");
  EXPECT_EQ(object.getType(), 5u);
  EXPECT_EQ(object.getCount(), 1u);
  EXPECT_EQ(object.references(), 1u);
}

TEST_F(JsonApi, ObjectsAnswerForTheirInterfaceAndIUnknown) {
  static constexpr Guid kObject{
      0x9D42C718, 0x78BE, 0x4150, {0x96, 0xFD, 0x09, 0xA1, 0xC4, 0xED, 0xF5, 0xC9}};
  for (const RawObject& object : {createObject(), parsed("{}")}) {
    for (const Guid& id : {kObject, IID_IComponent}) {
      RawObject same;
      EXPECT_EQ(object.queryInterface(id, same.put()), kOk);
      EXPECT_EQ(same.get(), object.get());
      EXPECT_EQ(object.references(), 2u);
    }
  }
}

TEST_F(JsonApi, ArraysAnswerForTheirInterfaceAndIUnknown) {
  static constexpr Guid kArray{
      0xFE8880DC, 0x9EE4, 0x4CB5, {0xB0, 0x28, 0x32, 0x72, 0x11, 0x93, 0xAE, 0x1D}};
  const RawObject object = createObject();
  RawArray array;
  ASSERT_EQ(object.addArray("a", array.put()), kOk);
  for (const Guid& id : {kArray, IID_IComponent}) {
    RawArray same;
    EXPECT_EQ(array.queryInterface(id, same.put()), kOk);
    EXPECT_EQ(same.get(), array.get());
    EXPECT_EQ(array.references(), 3u);
  }
}

TEST_F(JsonApi, ARecordWithoutBytesHoldsNoText) {
  for (const uint64_t length : {0u, 2u, 5000u}) {
    const runtime::ByteBuffer record{length, nullptr};
    void* object = this;
    EXPECT_EQ(parse(&record, &object), kFail) << length;
    EXPECT_EQ(object, nullptr);
  }
}

TEST_F(JsonApi, OtherInterfacesAreNotThere) {
  const RawObject object = createObject();
  RawArray array;
  ASSERT_EQ(object.addArray("a", array.put()), kOk);
  void* out = this;
  EXPECT_EQ(object.queryInterface(IID_IJsonArray, &out), kNoInterface);
  EXPECT_EQ(out, nullptr);
  out = this;
  EXPECT_EQ(array.queryInterface(IID_IJsonObject, &out), kNoInterface);
  EXPECT_EQ(out, nullptr);
  out = this;
  EXPECT_EQ(object.queryInterface(Guid{}, &out), kNoInterface);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(object.references(), 1u);
  EXPECT_EQ(array.references(), 2u);
}

TEST_F(JsonApi, ObjectsHeldBeyondTheModulesEndFailWithoutHarm) {
  RawObject object = createObject();
  stop();
  auto* text = reinterpret_cast<runtime::ByteBuffer*>(this);
  void* child = this;
  EXPECT_EQ(object.toText(&text), kFail);
  EXPECT_EQ(text, nullptr);
  EXPECT_EQ(object.setString("a", "x"), kOutOfMemory);
  EXPECT_EQ(object.setInteger("a", 1), kOutOfMemory);
  EXPECT_EQ(object.addArray("a", &child), kOutOfMemory);
  EXPECT_EQ(child, nullptr);
  EXPECT_EQ(object.getCount(), 0u);
  EXPECT_EQ(object.getTypeOf("a"), 0u);
  EXPECT_EQ(parse("{}", object), kOutOfMemory);  // releases the old one
  EXPECT_FALSE(object);
}

}  // namespace
}  // namespace vexa::test
