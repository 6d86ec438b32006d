#include "runtime/exports/registry.h"

#include <gtest/gtest.h>

#include <cstring>

#include "runtime/basic_tables.h"
#include "support/slot.h"
#include "vexa/results.h"
#include "vexa/runtime/reference.h"

namespace vexa::test {
namespace {

const runtime::RootList& root() {
  const runtime::RootList* list = nullptr;
  EXPECT_EQ(quorix_get_f_list(0, 0, &list, 0, "", 0), kOk);
  return *list;
}

TEST(RuntimeRoot, TheExportFillsTheList) {
  EXPECT_EQ(&root(), &velmora::rootList);
  EXPECT_EQ(quorix_get_f_list(0, 0, nullptr, 0, "", 0), kNullPointer);
}

TEST(RuntimeRoot, SlotsHaveTheirNumbers) {
  const runtime::RootList* const list = &root();
  const void* table = nullptr;
  EXPECT_EQ((tableEntry<int32_t(const char*, const char*, const void**)>(list, 2)(
                nullptr, "SEC_IO_1", &table)),
            kOk);
  EXPECT_EQ(table, &velmora::ioTable);
  tableEntry<void(const void**)>(list, 3)(&table);
  EXPECT_EQ(table, nullptr);
  void* const block = tableEntry<void*(uint64_t)>(list, 6)(1);
  void* const grown = tableEntry<void*(void*, uint64_t)>(list, 8)(block, 2);
  ASSERT_NE(grown, nullptr);
  tableEntry<void(void*)>(list, 9)(grown);
  for (const int reserved : {1, 4, 5, 7}) {
    EXPECT_EQ(tableEntry<void()>(list, reserved), nullptr) << reserved;
  }
  tableEntry<void(const void*)>(list, 0)(list);
}

struct InterfaceCase {
  const char* component;
  const char* name;
};

class RuntimeInterface : public ::testing::TestWithParam<InterfaceCase> {};

TEST_P(RuntimeInterface, IsHandedOutAndTakenBack) {
  const int64_t before = velmora_bound_interfaces();
  const void* table = nullptr;
  EXPECT_EQ(root().GetInterface(GetParam().component, GetParam().name, &table), kOk);
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(*static_cast<void* const*>(table), nullptr);  // slot 0 is left free
  EXPECT_EQ(velmora_bound_interfaces(), before + 1);
  root().ReleaseInterface(&table);
  EXPECT_EQ(table, nullptr);
  EXPECT_EQ(velmora_bound_interfaces(), before);
}

TEST_P(RuntimeInterface, BelongsToItsComponentOnly) {
  const char* const other = GetParam().component == nullptr ? "vexastring" : nullptr;
  const void* table = &table;
  EXPECT_EQ(root().GetInterface(other, GetParam().name, &table), kFail);
  EXPECT_EQ(table, nullptr);
}

INSTANTIATE_TEST_SUITE_P(
    All, RuntimeInterface,
    ::testing::Values(
        InterfaceCase{nullptr, "SEC_PKCS12_1"}, InterfaceCase{nullptr, "SEC_COMMONTYPES_1"},
        InterfaceCase{nullptr, "SEC_ENCODE_1"}, InterfaceCase{"vexastring", "String.1"},
        InterfaceCase{"vexastring", "MultiString.1"}, InterfaceCase{nullptr, "SEC_IO_1"},
        InterfaceCase{nullptr, "SEC_URL_1"}, InterfaceCase{"vexastring", "StringW.1"},
        InterfaceCase{"vexastring", "MultiStringW.1"}, InterfaceCase{nullptr, "SEC_ASC_1"},
        InterfaceCase{nullptr, "SEC_CRYPT_1"}, InterfaceCase{nullptr, "SEC_RANDOM_1"},
        InterfaceCase{nullptr, "SEC_TIME_1"}, InterfaceCase{nullptr, "SEC_NOTIFY_1"},
        InterfaceCase{nullptr, "SEC_PSE_1"}),
    [](const auto& test) {
      std::string name = test.param.name;
      for (char& character : name) {
        character = character == '.' ? '_' : character;
      }
      return name;
    });

TEST(RuntimeRoot, UnknownInterfacesLeaveNull) {
  const void* table = &table;
  EXPECT_EQ(root().GetInterface(nullptr, "SEC_IO_2", &table), kFail);
  EXPECT_EQ(table, nullptr);
  table = &table;
  EXPECT_EQ(root().GetInterface("other", "ClassFactory.1", &table), kFail);
  EXPECT_EQ(table, nullptr);
}

TEST(RuntimeRoot, NullArgumentsAreRefused) {
  const void* table = nullptr;
  EXPECT_EQ(root().GetInterface(nullptr, nullptr, &table), kNullPointer);
  EXPECT_EQ(root().GetInterface(nullptr, "SEC_IO_1", nullptr), kNullPointer);
}

TEST(RuntimeRoot, ReleasingNothingIsHarmless) {
  const int64_t before = velmora_bound_interfaces();
  const void* table = nullptr;
  root().ReleaseInterface(&table);
  root().ReleaseInterface(nullptr);
  EXPECT_EQ(velmora_bound_interfaces(), before);
}

TEST(RuntimeRoot, TellsItsVersionAndThatOfTheLibrary) {
  const std::string version = velmora_version();
  EXPECT_TRUE(version.starts_with("velmora ")) << version;
  EXPECT_NE(version.find(", libgcrypt "), std::string::npos) << version;
}

}  // namespace
}  // namespace vexa::test
