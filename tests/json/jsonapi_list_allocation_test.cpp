#include <gtest/gtest.h>

#include <string>

#include "json_fixture.h"
#include "support/sweep.h"

// Every allocation of every operation fails once. The operation says so, changes nothing and leaks
// nothing, and what there is stays usable.
namespace vexa::test {
namespace {

constexpr uint64_t kAtEnd = ~uint64_t{0};

class JsonAllocation : public JsonTest {
 protected:
  // Runs `operation` on a new object {"k":[0]} and its array.
  template <class Operation>
  int sweepOn(Operation operation) {
    return sweepAllocations(spy, [&] {
      RawObject object;
      RawArray array;
      if (createObject(object.put()) != kOk || object.addArray("k", array.put()) != kOk ||
          array.setIntegerAt(0, 0) != kOk) {
        return false;
      }
      const int32_t result = operation(object, array);
      EXPECT_TRUE(result == kOk || result == kOutOfMemory) << result;
      if (result != kOk) {
        // Nothing changed.
        int32_t value = 7;
        EXPECT_EQ(object.getCount(), 1u);
        EXPECT_EQ(object.getTypeOf("k"), uint32_t{kJsonArray});
        EXPECT_EQ(array.getCount(), 1u);
        EXPECT_EQ(array.getIntegerAt(0, &value), kOk);
        EXPECT_EQ(value, 0);
        EXPECT_EQ(object.references(), 1u);
        EXPECT_EQ(array.references(), 2u);
      }
      return result == kOk;
    });
  }
};

TEST_F(JsonAllocation, FailsInCreateObject) {
  (void)sweepAllocations(spy, [this] {
    void* object = this;
    const int32_t result = createObject(&object);
    EXPECT_TRUE(result == kOk || result == kOutOfMemory);
    EXPECT_EQ(object != nullptr, result == kOk);
    RawObject(object).reset();
    return result == kOk;
  });
}

TEST_F(JsonAllocation, FailsInParse) {
  std::string text = R"({"o":{"a":[1,true,"x\u00e9",[],{}]},"o":{"dropped":[2]},"s":")" +
                     std::string(3000, 'x') + R"(")";
  for (int i = 0; i < 300; ++i) {
    text += ",\"k" + std::to_string(i) + "\":[" + std::to_string(i) + ",null]";
  }
  const ExactBytes input(text + "}");
  const runtime::ByteBuffer record = input.buffer();
  const int failures = sweepAllocations(spy, [&] {
    void* object = this;
    const int32_t result = parse(&record, &object);
    EXPECT_TRUE(result == kOk || result == kOutOfMemory);
    EXPECT_EQ(object != nullptr, result == kOk);
    RawObject(object).reset();
    return result == kOk;
  });
  EXPECT_GE(failures, 4);
}

TEST_F(JsonAllocation, FailsInARefusedParse) {
  const ExactBytes input(R"({"a":[1,{"b":"c"},2,{"d":x}]})");
  const runtime::ByteBuffer record = input.buffer();
  const int failures = sweepAllocations(spy, [&] {
    void* object = this;
    const int32_t result = parse(&record, &object);
    EXPECT_TRUE(result == kFail || result == kOutOfMemory);
    EXPECT_EQ(object, nullptr);
    return result == kFail;
  });
  EXPECT_GE(failures, 1);
}

TEST_F(JsonAllocation, FailsInToText) {
  RawObject object = createObject();
  ASSERT_EQ(object.setString("s", std::string(5000, '/').c_str()), kOk);
  RawObject inner;
  ASSERT_EQ(object.addObject("o", inner.put()), kOk);
  for (int depth = 0; depth < 100; ++depth) {
    RawArray array;
    ASSERT_EQ(inner.addArray("a", array.put()), kOk);
    ASSERT_EQ(array.addObjectAt(0, inner.put()), kOk);
  }
  inner.reset();
  const int failures = sweepAllocations(spy, [&] {
    auto* text = reinterpret_cast<runtime::ByteBuffer*>(this);
    const int32_t result = object.toText(&text);
    EXPECT_TRUE(result == kOk || result == kOutOfMemory);
    EXPECT_EQ(text != nullptr, result == kOk);
    spy.commonTypes.BufferRelease(text);
    return result == kOk;
  });
  EXPECT_GE(failures, 5);
}

TEST_F(JsonAllocation, FailsInGetters) {
  const RawObject object = parsed(R"({"key":"text","list":["element"]})");
  RawArray array;
  ASSERT_EQ(object.getArray("list", array.put()), kOk);
  const auto getString = [](const auto& get) {
    StringHolder value;
    const int32_t result = get(value.get());
    EXPECT_TRUE(result == kOk || result == kOutOfMemory);
    return result == kOk;
  };
  EXPECT_GE(
      sweepAllocations(
          spy,
          [&] { return getString([&](StringOut out) { return object.getString("key", out); }); }),
      1);
  EXPECT_GE(
      sweepAllocations(
          spy, [&] { return getString([&](StringOut out) { return object.getKeyAt(0, out); }); }),
      1);
  EXPECT_GE(
      sweepAllocations(
          spy, [&] { return getString([&](StringOut out) { return array.getStringAt(0, out); }); }),
      1);
}

// --- setters of objects: a new member, and one in the place of another ---

class JsonMemberAllocation : public JsonAllocation,
                             public ::testing::WithParamInterface<const char*> {};

TEST_P(JsonMemberAllocation, FailsInSetString) {
  EXPECT_GE(sweepOn([](const RawObject& object, const RawArray&) {
              return object.setString(GetParam(), "a text of some length");
            }),
            2);
}

TEST_P(JsonMemberAllocation, FailsInSetInteger) {
  EXPECT_GE(sweepOn([](const RawObject& object, const RawArray&) {
              return object.setInteger(GetParam(), 1);
            }),
            1);
}

TEST_P(JsonMemberAllocation, FailsInAddObject) {
  EXPECT_GE(sweepOn([](const RawObject& object, const RawArray&) {
              void* out = nullptr;
              const int32_t result = object.addObject(GetParam(), &out);
              EXPECT_EQ(out != nullptr, result == kOk);
              RawObject(out).reset();
              return result;
            }),
            1);
}

TEST_P(JsonMemberAllocation, FailsInAddArray) {
  EXPECT_GE(sweepOn([](const RawObject& object, const RawArray&) {
              void* out = nullptr;
              const int32_t result = object.addArray(GetParam(), &out);
              EXPECT_EQ(out != nullptr, result == kOk);
              RawArray(out).reset();
              return result;
            }),
            1);
}

TEST_P(JsonMemberAllocation, FailsInSetBool) {
  EXPECT_GE(sweepOn([](const RawObject& object, const RawArray&) {
              return object.setBool(GetParam(), 1);
            }),
            1);
}

TEST_P(JsonMemberAllocation, FailsInSetNull) {
  EXPECT_GE(
      sweepOn([](const RawObject& object, const RawArray&) { return object.setNull(GetParam()); }),
      1);
}

INSTANTIATE_TEST_SUITE_P(All, JsonMemberAllocation, ::testing::Values("k", "new"),
                         [](const auto& test) {
                           return test.param == std::string("k") ? "ReplacedMember" : "NewMember";
                         });

// --- setters of arrays: at the end, and in the place of an element ---

class JsonElementAllocation : public JsonAllocation,
                              public ::testing::WithParamInterface<uint64_t> {};

TEST_P(JsonElementAllocation, FailsInSetStringAt) {
  EXPECT_GE(sweepOn([](const RawObject&, const RawArray& array) {
              return array.setStringAt(GetParam(), "a text of some length");
            }),
            1);
}

TEST_P(JsonElementAllocation, FailsInSetIntegerAt) {
  EXPECT_GE(sweepOn([](const RawObject&, const RawArray& array) {
              return array.setIntegerAt(GetParam(), 1);
            }),
            1);
}

TEST_P(JsonElementAllocation, FailsInAddObjectAt) {
  EXPECT_GE(sweepOn([](const RawObject&, const RawArray& array) {
              void* out = nullptr;
              const int32_t result = array.addObjectAt(GetParam(), &out);
              EXPECT_EQ(out != nullptr, result == kOk);
              RawObject(out).reset();
              return result;
            }),
            1);
}

TEST_P(JsonElementAllocation, FailsInAddArrayAt) {
  EXPECT_GE(sweepOn([](const RawObject&, const RawArray& array) {
              void* out = nullptr;
              const int32_t result = array.addArrayAt(GetParam(), &out);
              EXPECT_EQ(out != nullptr, result == kOk);
              RawArray(out).reset();
              return result;
            }),
            1);
}

TEST_P(JsonElementAllocation, FailsInSetBoolAt) {
  EXPECT_GE(sweepOn([](const RawObject&, const RawArray& array) {
              return array.setBoolAt(GetParam(), 1);
            }),
            1);
}

TEST_P(JsonElementAllocation, FailsInSetNullAt) {
  EXPECT_GE(
      sweepOn([](const RawObject&, const RawArray& array) { return array.setNullAt(GetParam()); }),
      1);
}

INSTANTIATE_TEST_SUITE_P(All, JsonElementAllocation, ::testing::Values(uint64_t{0}, kAtEnd),
                         [](const auto& test) {
                           return test.param == 0 ? "ReplacedElement" : "NewElement";
                         });

TEST_F(JsonAllocation, FailsInChangesOfAParsedTree) {
  const ExactBytes input(R"({"k":"text","list":[0]})");
  const runtime::ByteBuffer record = input.buffer();
  const int failures = sweepAllocations(spy, [&] {
    RawObject object;
    RawArray array;
    RawArray added;
    if (parse(&record, object.put()) != kOk) {
      return false;
    }
    // Only now does the array become an object.
    const int32_t got = object.getArray("list", array.put());
    EXPECT_TRUE(got == kOk || got == kOutOfMemory) << got;
    EXPECT_EQ(static_cast<bool>(array), got == kOk);
    EXPECT_EQ(object.getTypeOf("list"), uint32_t{kJsonArray});
    if (got != kOk) {
      return false;
    }
    const bool done = object.setString("k", "another") == kOk &&
                      object.addArray("new", added.put()) == kOk &&
                      array.setStringAt(kAtEnd, "x") == kOk && array.setNullAt(0) == kOk;
    EXPECT_NE(object.getStringPtr("k"), nullptr);
    return done;
  });
  EXPECT_GE(failures, 5);
}

}  // namespace
}  // namespace vexa::test
