#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "base/heap.h"
#include "io_log.h"
#include "json/collections.h"
#include "json/parser.h"
#include "raw_json.h"
#include "support/allocation_gate.h"
#include "support/bound_fixture.h"
#include "support/exact_bytes.h"

// The operations that values share, by the numbers of their slots, and the references to values
// that no interface shows.
namespace vexa::json {
namespace {

using base::ComPtr;
using test::call;
using test::StringHolder;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// A collection that is neither object nor array.
class Bag : public JsonCollection {
 protected:
  Bag() : JsonCollection(kJsonAbsent) {}
};

class JsonValueSlots : public test::BoundTest {
 protected:
  static constexpr uint32_t kKinds[] = {kJsonAbsent, kJsonNull,   kJsonNumber, kJsonString,
                                        kJsonArray,  kJsonObject, kJsonBool};

  void SetUp() override { processBlocks_ = test::allocation_gate::liveProcessBlocks(); }
  void TearDown() override {
    EXPECT_EQ(test::allocation_gate::liveProcessBlocks(), processBlocks_);
    BoundTest::TearDown();
  }

  template <class Kind>
  static ComPtr<JsonValue> create() {
    ComPtr<Kind> made;
    EXPECT_EQ(createValue(made), kOk);
    return ComPtr<JsonValue>(made.release());
  }
  static ComPtr<JsonValue> create(uint32_t kind) {
    switch (kind) {
      case kJsonNull:
        return create<JsonNull>();
      case kJsonNumber:
        return create<JsonNumber>();
      case kJsonString:
        return create<JsonString>();
      case kJsonArray:
        return create<JsonArray>();
      case kJsonObject:
        return create<JsonObject>();
      case kJsonBool:
        return create<JsonBool>();
      default:
        return create<JsonValue>();
    }
  }
  // Slot 12 with bytes.
  static int32_t setBytes(const ComPtr<JsonValue>& value, std::string_view bytes) {
    const test::ExactBytes input(bytes);
    const runtime::ByteBuffer record = input.buffer();
    return call<int32_t>(value.get(), 12, &record);
  }
  // What slot 11 appends to a stream.
  std::vector<std::string> piecesOf(const ComPtr<JsonValue>& value, int32_t expected = kOk) {
    runtime::Stream* stream = nullptr;
    test::IoLog log(spy);
    EXPECT_EQ(spy.io.CreateMemoryStream(&stream), kOk);
    EXPECT_EQ(call<int32_t>(value.get(), 11, stream), expected);
    stream->table->Release(reinterpret_cast<runtime::Object*>(stream));
    return log.pieces;
  }
  static uint32_t referencesOf(JsonValue* value) {
    call<uint32_t>(value, 1);
    return call<uint32_t>(value, 2);
  }

 private:
  int64_t processBlocks_ = 0;
};

TEST_F(JsonValueSlots, TheCountStandsBehindTheTable) {
  for (const uint32_t kind : kKinds) {
    const auto value = create(kind);
    uint32_t count = 0;
    std::memcpy(&count, reinterpret_cast<const char*>(value.get()) + sizeof(void*), sizeof(count));
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(call<uint32_t>(value.get(), 1), 2u);
    EXPECT_EQ(call<uint32_t>(value.get(), 2), 1u);
  }
}

TEST_F(JsonValueSlots, Slot0FindsTheInterfaceOfObjectsAndArraysAlone) {
  for (const uint32_t kind : kKinds) {
    const auto value = create(kind);
    for (const auto& [id, owner] : {std::pair(&IID_IJsonObject, uint32_t{kJsonObject}),
                                    std::pair(&IID_IJsonArray, uint32_t{kJsonArray})}) {
      void* out = this;
      const int32_t result = call<int32_t, const Guid*, void**>(value.get(), 0, id, &out);
      EXPECT_EQ(result, kind == owner ? kOk : kNoInterface);
      EXPECT_EQ(out != nullptr, kind == owner);
      EXPECT_EQ(referencesOf(value.get()), kind == owner ? 2u : 1u);
      if (out != nullptr) {
        EXPECT_EQ(call<uint32_t>(out, 3), kind);
        EXPECT_EQ(call<uint32_t>(out, 2), 1u) << "value and interface share one count";
      }
    }
  }
}

TEST_F(JsonValueSlots, Slot3EndsTheValueAndFreesItWhenBit0IsSet) {
  for (const uint32_t kind : kKinds) {
    for (const uint32_t flags : {0u, 1u, 2u, 3u}) {
      JsonValue* const value = create(kind).release();
      void* const block = value;
      const int64_t before = test::allocation_gate::liveProcessBlocks();
      EXPECT_EQ((call<void*, uint32_t>(value, 3, flags)), block);
      if ((flags & 1) == 0) {
        EXPECT_EQ(test::allocation_gate::liveProcessBlocks(), before);
        base::processFree(block);
      }
    }
  }
}

TEST_F(JsonValueSlots, Slot4CopiesTheName) {
  for (const uint32_t kind : kKinds) {
    const auto value = create(kind);
    for (const std::string_view name : {"first", "", "another name of some length"}) {
      const test::ExactBytes input(name);
      const runtime::ByteBuffer record = input.buffer();
      EXPECT_EQ((call<int32_t, const runtime::ByteBuffer*>(value.get(), 4, &record)), kOk);
      const auto* const stored = call<const runtime::StringObject*>(value.get(), 5);
      EXPECT_EQ(spy.strings.GetText(stored), name);
      EXPECT_EQ(spy.strings.GetLength(stored), name.size());
    }
  }
}

TEST_F(JsonValueSlots, Slot4CountsTheBytesOfTheName) {
  const auto value = create<JsonNull>();
  const test::ExactBytes input({'a', 0, 'b'});
  const runtime::ByteBuffer record = input.buffer();
  EXPECT_EQ((call<int32_t, const runtime::ByteBuffer*>(value.get(), 4, &record)), kOk);
  EXPECT_EQ(spy.strings.GetLength(call<const runtime::StringObject*>(value.get(), 5)), 3u);
}

TEST_F(JsonValueSlots, Slot4RefusesNull) {
  const auto value = create<JsonNull>();
  EXPECT_EQ((call<int32_t, const runtime::ByteBuffer*>(value.get(), 4, nullptr)), kInvalidArgument);
}

TEST_F(JsonValueSlots, Slot5IsAnEmptyNameAtFirst) {
  for (const uint32_t kind : kKinds) {
    const auto value = create(kind);
    const auto* const name = call<const runtime::StringObject*>(value.get(), 5);
    ASSERT_NE(name, nullptr);
    EXPECT_STREQ(spy.strings.GetText(name), "");
    EXPECT_EQ(spy.strings.GetLength(name), 0u);
  }
}

TEST_F(JsonValueSlots, Slot6IsTheType) {
  for (const uint32_t kind : kKinds) {
    EXPECT_EQ(call<uint32_t>(create(kind).get(), 6), kind);
  }
}

TEST_F(JsonValueSlots, Slots7To10FailForOtherKindsWithoutALook) {
  for (const uint32_t kind : kKinds) {
    const auto value = create(kind);
    int32_t number = 5;
    uint32_t truth = 7;
    StringHolder string;
    const bool isNumber = kind == kJsonNumber;
    const bool isString = kind == kJsonString;
    const bool isBool = kind == kJsonBool;
    EXPECT_EQ(call<int32_t>(value.get(), 7, &number), isNumber ? kOk : kFail);
    EXPECT_EQ(number, isNumber ? 0 : 5);
    EXPECT_EQ(call<int32_t>(value.get(), 8, string.get()), isString ? kOk : kFail);
    EXPECT_EQ(call<const char*>(value.get(), 9), nullptr) << "no string was set";
    EXPECT_EQ(call<int32_t>(value.get(), 10, &truth), isBool ? kOk : kFail);
    EXPECT_EQ(truth, isBool ? 0u : 7u);
  }
}

TEST_F(JsonValueSlots, Slots7To10RefuseNullOuts) {
  int32_t* const noNumber = nullptr;
  uint32_t* const noTruth = nullptr;
  test::StringOut const noString = nullptr;
  EXPECT_EQ(call<int32_t>(create<JsonNumber>().get(), 7, noNumber), kNullPointer);
  EXPECT_EQ(call<int32_t>(create<JsonString>().get(), 8, noString), kNullPointer);
  EXPECT_EQ(call<int32_t>(create<JsonBool>().get(), 10, noTruth), kNullPointer);
  EXPECT_EQ(call<int32_t>(create<JsonNull>().get(), 7, noNumber), kFail);
}

TEST_F(JsonValueSlots, Slot12SetsANumber) {
  const auto value = create<JsonNumber>();
  for (const int32_t number : {INT32_MIN, -1, 0, INT32_MAX}) {
    int32_t out = 5;
    EXPECT_EQ(call<int32_t>(value.get(), 12, number), kOk);
    EXPECT_EQ(call<int32_t>(value.get(), 7, &out), kOk);
    EXPECT_EQ(out, number);
  }
}

TEST_F(JsonValueSlots, Slot12CopiesAString) {
  const auto value = create<JsonString>();
  for (const std::string& bytes : {std::string("first"), std::string(), std::string("a\0b", 3)}) {
    EXPECT_EQ(setBytes(value, bytes), kOk);
    StringHolder out;
    EXPECT_EQ(call<int32_t>(value.get(), 8, out.get()), kOk);
    EXPECT_EQ(out.bytes(), bytes);
    const char* const text = call<const char*>(value.get(), 9);
    ASSERT_NE(text, nullptr);
    EXPECT_STREQ(text, bytes.c_str());
    EXPECT_EQ(text[bytes.size()], '\0');
  }
}

TEST_F(JsonValueSlots, Slot12RefusesANullRecord) {
  const auto value = create<JsonString>();
  ASSERT_EQ(setBytes(value, "kept"), kOk);
  EXPECT_EQ((call<int32_t, const runtime::ByteBuffer*>(value.get(), 12, nullptr)),
            kInvalidArgument);
  EXPECT_STREQ(call<const char*>(value.get(), 9), "kept");
}

TEST_F(JsonValueSlots, Slot12TakesAByteAsATruthValue) {
  const auto value = create<JsonBool>();
  // A caller fills no more of the argument than the byte.
  for (const auto& [argument, expected] :
       {std::pair(uint64_t{1}, 1u), std::pair(uint64_t{0}, 0u), std::pair(uint64_t{0x80}, 1u),
        std::pair(uint64_t{0xFFFF'FF00}, 0u), std::pair(uint64_t{0x1234'5601}, 1u)}) {
    uint32_t out = 7;
    EXPECT_EQ(call<int32_t>(value.get(), 12, argument), kOk);
    EXPECT_EQ(call<int32_t>(value.get(), 10, &out), kOk);
    EXPECT_EQ(out, expected);
  }
}

TEST_F(JsonValueSlots, Slot12FailsForKindsThatHoldNothing) {
  for (const uint32_t kind : {kJsonAbsent, kJsonNull, kJsonArray, kJsonObject}) {
    EXPECT_EQ(call<int32_t>(create(kind).get(), 12, uint64_t{1}), kFail);
  }
}

// --- slot 11: writing ---

TEST_F(JsonValueSlots, Slot11WritesEachKind) {
  EXPECT_THAT(piecesOf(create<JsonNull>()), ElementsAre("null"));
  EXPECT_THAT(piecesOf(create<JsonNumber>()), ElementsAre("0"));
  EXPECT_THAT(piecesOf(create<JsonString>()), ElementsAre("\"\""));
  EXPECT_THAT(piecesOf(create<JsonArray>()), ElementsAre("[\n\n]\n"));
  EXPECT_THAT(piecesOf(create<JsonObject>()), ElementsAre("{\n\n}\n"));
  const auto truth = create<JsonBool>();
  EXPECT_THAT(piecesOf(truth), ElementsAre("false"));
  EXPECT_EQ(call<int32_t>(truth.get(), 12, uint64_t{1}), kOk);
  EXPECT_THAT(piecesOf(truth), ElementsAre("true"));
}

TEST_F(JsonValueSlots, Slot11EscapesWithItsOwnBuffer) {
  const auto value = create<JsonString>();
  ASSERT_EQ(setBytes(value, std::string(1024, 'x') + "/"), kOk);
  EXPECT_THAT(piecesOf(value), ElementsAre("\"" + std::string(1023, 'x'), "x\\/\""));
}

TEST_F(JsonValueSlots, Slot11IsNotImplementedForAValueOfNoKind) {
  EXPECT_THAT(piecesOf(create<JsonValue>(), kNotImplemented), IsEmpty());
}

TEST_F(JsonValueSlots, Slot11FailsForACollectionOfNoKind) {
  EXPECT_THAT(piecesOf(create<Bag>(), kFail), IsEmpty());
}

// --- references to values that no interface shows ---

class JsonElementReferences : public JsonValueSlots {
 protected:
  static ComPtr<JsonObject> parse(std::string_view text) {
    const test::ExactBytes input(text);
    const runtime::ByteBuffer record = input.buffer();
    ComPtr<JsonObject> object;
    EXPECT_EQ(parseText(record, object), kOk);
    return object;
  }
  static std::vector<uint32_t> referencesToElementsOf(JsonCollection& collection) {
    std::vector<uint32_t> counts;
    for (uint64_t i = 0; i < collection.count(); ++i) {
      counts.push_back(referencesOf(collection.valueAt(i)));
    }
    return counts;
  }
  static JsonCollection* asCollection(JsonValue* value) {
    return value->content().isCollection() ? static_cast<JsonCollection*>(value) : nullptr;
  }
};

TEST_F(JsonElementReferences, AfterTheSettersAreTheObjectsAlone) {
  ComPtr<JsonObject> object;
  ASSERT_EQ(createValue(object), kOk);
  EXPECT_EQ(object->SetString("s", "x"), kOk);
  EXPECT_EQ(object->SetInteger("i", 1), kOk);
  EXPECT_EQ(object->SetBool("b", 1), kOk);
  EXPECT_EQ(object->SetNull("n"), kOk);
  EXPECT_THAT(referencesToElementsOf(*object.get()), ElementsAre(1, 1, 1, 1));
  EXPECT_EQ(object->SetNull("s"), kOk);
  EXPECT_THAT(referencesToElementsOf(*object.get()), ElementsAre(1, 1, 1, 1));
}

TEST_F(JsonElementReferences, AfterTheSettersAreTheArraysAlone) {
  ComPtr<JsonArray> array;
  ASSERT_EQ(createValue(array), kOk);
  EXPECT_EQ(array->SetStringAt(0, "x"), kOk);
  EXPECT_EQ(array->SetIntegerAt(kJsonAtEnd, 1), kOk);
  EXPECT_EQ(array->SetBoolAt(2, 1), kOk);
  EXPECT_EQ(array->SetNullAt(3), kOk);
  EXPECT_THAT(referencesToElementsOf(*array.get()), ElementsAre(1, 1, 1, 1));
  EXPECT_EQ(array->SetNullAt(0), kOk);
  EXPECT_THAT(referencesToElementsOf(*array.get()), ElementsAre(1, 1, 1, 1));
}

TEST_F(JsonElementReferences, OfAReplacedValueAreItsHoldersAlone) {
  ComPtr<JsonObject> object;
  ASSERT_EQ(createValue(object), kOk);
  ASSERT_EQ(object->SetString("s", "kept"), kOk);
  const auto held = ComPtr<JsonValue>::share(object->valueAt(0));
  EXPECT_EQ(referencesOf(held.get()), 2u);
  EXPECT_EQ(object->SetInteger("s", 1), kOk);
  EXPECT_EQ(referencesOf(held.get()), 1u);
  EXPECT_STREQ(held->GetStringPtr(), "kept");
}

TEST_F(JsonElementReferences, OfAReplacedElementAreItsHoldersAlone) {
  ComPtr<JsonArray> array;
  ASSERT_EQ(createValue(array), kOk);
  ASSERT_EQ(array->SetStringAt(0, "kept"), kOk);
  const auto held = ComPtr<JsonValue>::share(array->valueAt(0));
  EXPECT_EQ(array->SetNullAt(0), kOk);
  EXPECT_EQ(referencesOf(held.get()), 1u);
  array.reset();
  EXPECT_EQ(referencesOf(held.get()), 1u);
  EXPECT_STREQ(held->GetStringPtr(), "kept");
}

TEST_F(JsonElementReferences, AfterAParseAreTheParentsAlone) {
  const auto object = parse(R"({"a":1,"b":"x","a":2,"c":[null,true,{"d":{}}],"c":[]})");
  EXPECT_THAT(referencesToElementsOf(*object.get()), ElementsAre(1, 1, 1));
  auto* const array = asCollection(object->valueAt(2));
  ASSERT_NE(array, nullptr);
  EXPECT_THAT(referencesToElementsOf(*array), ElementsAre(1, 1, 1));
  EXPECT_THAT(referencesToElementsOf(*asCollection(array->valueAt(2))), ElementsAre(1));
}

TEST_F(JsonElementReferences, OfAHeldParsedValueOutliveTheTree) {
  auto object = parse(R"({"a":"kept","b":1})");
  const auto held = ComPtr<JsonValue>::share(object->valueAt(0));
  object.reset();
  EXPECT_EQ(referencesOf(held.get()), 1u);
  EXPECT_STREQ(held->GetStringPtr(), "kept");
  EXPECT_EQ(setBytes(held, "changed"), kOk);
  EXPECT_STREQ(held->GetStringPtr(), "changed");
}

}  // namespace
}  // namespace vexa::json
