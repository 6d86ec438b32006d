#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "endtoend/installed_module.h"
#include "support/slot.h"
#include "vexa/all.h"

// Every list and class of the finished module, walked through its raw tables.
namespace vexa::test {
namespace {

constexpr Guid kUnknownId{0xDEADBEEF, 1, 2, {3}};

class Conformance : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    module = new LoadedModule(builtFiles() / kModuleFile);
    ASSERT_NE(module->init, nullptr);
    ASSERT_EQ(module->init(nullptr, &lookup), kOk);
  }
  static void TearDownTestSuite() { EXPECT_EQ(module->final(), kOk); }

  static const void* list(const char* name) {
    const void* found = nullptr;
    EXPECT_EQ(lookup(nullptr, name, &found), kOk) << name;
    return found;
  }
  static void* create(const char* name, const Guid& id) {
    void* object = nullptr;
    auto* createSlot =
        tableEntry<int32_t(const char*, const Guid*, void**)>(list(kClassFactoryListName), 1);
    EXPECT_EQ(createSlot(name, &id, &object), kOk) << name;
    return object;
  }
  // Calls a slot that takes up to five pointer-wide arguments, all of them null.
  static int32_t callWithNulls(const void* table, int slotNumber) {
    return tableEntry<int32_t(void*, void*, void*, void*, void*)>(table, slotNumber)(
        nullptr, nullptr, nullptr, nullptr, nullptr);
  }

  static inline LoadedModule* module = nullptr;
  static inline GetModuleInterfaceFunction lookup = nullptr;
};

// --- Lists ---

struct ListCase {
  const char* name;
  uint32_t slots;
};
template <class... Lists>
std::vector<ListCase> listCases(TypeList<Lists...>) {
  return {{ListTraits<Lists>::kName, slotCount<Lists>()}...};
}
const std::vector<ListCase> kLists = listCases(AllLists());

TEST_F(Conformance, EveryListIsOfferedUnderItsNameWithAllItsSlots) {
  for (const ListCase& expected : kLists) {
    const auto* const slots = static_cast<void* const*>(list(expected.name));
    ASSERT_NE(slots, nullptr);
    for (uint32_t i = 0; i < expected.slots; ++i) {
      EXPECT_NE(slots[i], nullptr) << expected.name << " slot " << i;
    }
  }
}

TEST_F(Conformance, Slot0TellsTheListsNameAndBearsNulls) {
  for (const ListCase& expected : kLists) {
    auto* info =
        tableEntry<int32_t(const char**, const char**, const char**)>(list(expected.name), 0);
    const char* name = nullptr;
    const char* host = "x";
    const char* extra = nullptr;
    EXPECT_EQ(info(&name, &host, &extra), kOk);
    EXPECT_STREQ(name, expected.name);
    EXPECT_EQ(host, nullptr);
    EXPECT_STREQ(extra, "");
    EXPECT_EQ(info(nullptr, nullptr, nullptr), kOk);
  }
}

struct NullCase {
  const char* list;
  int slot;
  int32_t result;
};
constexpr NullCase kNulls[] = {
    {kCoreListName, 1, kOk},
    {kCoreListName, 5, kBufferFail},
    {kCoreListName, 6, kBufferFail},
    {kCoreListName, 7, kBufferFail},
    {kCoreListName, 8, kNullPointer},
    {kCoreListName, 9, kNullPointer},
    {kCoreListName, 10, kInvalidArgument},
    {kCoreListName, 11, kInvalidArgument},
    {kCoreListName, 12, kInvalidArgument},
    {kCoreListName, 13, kInvalidArgument},
    {kCoreListName, 14, kOk},
    {kCoreListName, 15, kInvalidArgument},
    {kCoreListName, 16, kInvalidArgument},
    {kCaListName, 7, kOk},
    {kCertificateListName, 1, 0},
    {kCertificateListName, 2, 0},
    {kCertificateListName, 3, 0},
    {kCertificateListName, 4, 0},
    {kCertificateListName, 5, 0},
    {kCertificateListName, 6, 0},
    {kCertificateListName, 7, 0},
    {kHashTableListName, 1, kNullPointer},
    {kHashTableListName, 2, kNullPointer},
    {kJsonApiListName, 1, kInvalidArgument},
    {kJsonApiListName, 2, kInvalidArgument},
    {kNetworkListName, 1, 0},
    {kNetworkListName, 2, kInvalidArgument},
    {kNetworkListName, 3, 0},
    {kNetworkListName, 4, 0},
    {kCapiListName, 1, -1},
    {kCapiListName, 2, 0},
    {kCapiListName, 3, 0},
    {kCapiListName, 4, -1},
    {kCapiListName, 5, 0},
    {kClassFactoryListName, 1, kNullPointer},
    {kClassFactoryListName, 2, kFail},
};

TEST_F(Conformance, NullArgumentsGetTheirStatedAnswers) {
  for (const NullCase& expected : kNulls) {
    EXPECT_EQ(callWithNulls(list(expected.list), expected.slot), expected.result)
        << expected.list << " slot " << expected.slot;
  }
}

TEST_F(Conformance, TheLookupRefusesWhatItDoesNotKnow) {
  const void* found = this;
  EXPECT_EQ(lookup(nullptr, "no.such.list", &found), kUnknownList);
  EXPECT_EQ(found, nullptr);
  EXPECT_EQ(lookup(nullptr, nullptr, &found), kNullListArgument);
  EXPECT_EQ(lookup(nullptr, kCoreListName, nullptr), kNullListArgument);
}

// --- Classes ---

struct ClassCase {
  const char* name;
  Guid id;
  bool isSingleton;
};
template <class... Interfaces>
std::vector<ClassCase> classCases(TypeList<Interfaces...>) {
  return {{ClassTraits<Interfaces>::kName, InterfaceTraits<Interfaces>::kId,
           ClassTraits<Interfaces>::kIsSingleton}...};
}
const std::vector<ClassCase> kClasses = classCases(AllClasses());

TEST_F(Conformance, EveryClassAnswersForIUnknownItsOwnIdAndAnUnknownOne) {
  for (const ClassCase& expected : kClasses) {
    void* object = create(expected.name, expected.id);
    ASSERT_NE(object, nullptr) << expected.name;
    const uint32_t before = call<uint32_t>(object, 1) - 1;
    EXPECT_EQ(call<uint32_t>(object, 2), before);
    EXPECT_EQ(before, expected.isSingleton ? 2u : 1u) << expected.name;

    void* unknown = nullptr;
    EXPECT_EQ(call<int32_t>(object, 0, &IID_IComponent, &unknown), kOk);
    void* own = nullptr;
    EXPECT_EQ(call<int32_t>(unknown, 0, &expected.id, &own), kOk);
    EXPECT_EQ(own, object);
    void* none = this;
    EXPECT_EQ(call<int32_t>(object, 0, &kUnknownId, &none), kNoInterface);
    EXPECT_EQ(none, nullptr);
    call<uint32_t>(own, 2);
    EXPECT_EQ(call<uint32_t>(unknown, 2), before) << "the count is back where it was";
    EXPECT_EQ(call<uint32_t>(object, 2), before - 1);
  }
}

TEST_F(Conformance, SingletonsAreOneObjectAndOthersAreNot) {
  for (const ClassCase& expected : kClasses) {
    void* first = create(expected.name, IID_IComponent);
    void* second = create(expected.name, IID_IComponent);
    EXPECT_EQ(first == second, expected.isSingleton) << expected.name;
    call<uint32_t>(first, 2);
    call<uint32_t>(second, 2);
  }
}

TEST_F(Conformance, AnUnknownInterfaceOfAClassGivesNull) {
  for (const ClassCase& expected : kClasses) {
    void* object = this;
    auto* createSlot =
        tableEntry<int32_t(const char*, const Guid*, void**)>(list(kClassFactoryListName), 1);
    EXPECT_EQ(createSlot(expected.name, &kUnknownId, &object), kNoInterface);
    EXPECT_EQ(object, nullptr);
  }
}

// --- One call of each kind through the interfaces' own declarations ---

TEST_F(Conformance, ARequestGoesThroughTheInterface) {
  auto* request = static_cast<IHTTPRequest*>(create(kHttpRequestClassName, IID_IHTTPRequest));
  const char text[] = "GET /a?x=1 HTTP/1.1\r\nOrigin: o\r\n\r\n";
  EXPECT_EQ(request->parse(reinterpret_cast<const uint8_t*>(text), sizeof(text) - 1), kOk);
  EXPECT_STREQ(request->getMethod(), "GET");
  EXPECT_STREQ(request->getPath(), "/a");
  EXPECT_FALSE(request->hasBody());
  EXPECT_EQ(request->Release(), 0u);
}

TEST_F(Conformance, AUrlGoesThroughTheInterface) {
  auto* url = static_cast<IURLParser*>(create(kUrlParserClassName, IID_IURLParser));
  EXPECT_EQ(url->parse("https://a.example:444/x"), kOk);
  EXPECT_EQ(url->getPort(), 444);
  EXPECT_TRUE(url->isHTTPS());
  EXPECT_TRUE(url->cmp("https://a.example:444/y"));
  EXPECT_TRUE(url->pattern_match("https://a.example:444"));
  EXPECT_EQ(url->Release(), 0u);
}

TEST_F(Conformance, JsonGoesThroughTheInterface) {
  const auto* json = static_cast<const JsonApiList*>(list(kJsonApiListName));
  char text[] = "{\"a\":[1,true]}";
  const runtime::ByteBuffer buffer = {sizeof(text) - 1, reinterpret_cast<uint8_t*>(text)};
  IJsonObject* object = nullptr;
  ASSERT_EQ(json->Parse(&buffer, &object), kOk);
  IJsonArray* array = nullptr;
  ASSERT_EQ(object->GetArray("a", &array), kOk);
  int32_t number = 0;
  EXPECT_EQ(array->GetIntegerAt(0, &number), kOk);
  EXPECT_EQ(number, 1);
  array->Release();
  EXPECT_EQ(object->Release(), 0u);
}

TEST_F(Conformance, AScramblerAndAHashTableGoThroughTheirInterfaces) {
  const auto* core = static_cast<const CoreList*>(list(kCoreListName));
  IScrambler* scrambler = nullptr;
  ASSERT_EQ(core->CreateScramblerEx(12, 1, 0, &scrambler), kOk);
  EXPECT_EQ(scrambler->Initialize(0), kFail) << "there is a key already";
  EXPECT_EQ(scrambler->Release(), 0u);

  const auto* tables = static_cast<const HashTableList*>(list(kHashTableListName));
  HashTable_void* table = nullptr;
  ASSERT_EQ(tables->CreateHashTable(&table, 0x0202, 0), kOk);
  EXPECT_EQ(table->Put(reinterpret_cast<void*>(1), reinterpret_cast<void*>(2)), kOk);
  void* value = nullptr;
  EXPECT_EQ(table->Get(reinterpret_cast<void*>(1), &value), kOk);
  EXPECT_EQ(value, reinterpret_cast<void*>(2));
  EXPECT_EQ(table->Release(), 0u);
}

TEST_F(Conformance, TimesAreConverted) {
  const auto* time = static_cast<const TimeList*>(list(kTimeListName));
  EXPECT_EQ(time->ConvertTime(0, 0x21, 0x18), kUnixEpochTicks);
  EXPECT_GT(time->GetCurrentFileTime(), kUnixEpochTicks);
}

}  // namespace
}  // namespace vexa::test
