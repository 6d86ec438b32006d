#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/tables.h"
#include "support/module_fixture.h"
#include "support/sweep.h"
#include "vexa/core.h"

namespace vexa::test {
namespace {

using testing::IsEmpty;

// A module that is not started yet.
class ModuleEntry : public testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(spy.boundInterfaces(), 0); }

  SpyRuntime spy;
};

constexpr const char* kTables[] = {
    "SEC_PKCS12_1", "SEC_COMMONTYPES_1", "SEC_ENCODE_1", "String.1",       "MultiString.1",
    "SEC_IO_1",     "SEC_URL_1",         "StringW.1",    "MultiStringW.1", "SEC_ASC_1",
    "SEC_CRYPT_1",  "SEC_RANDOM_1",      "SEC_TIME_1",   "SEC_NOTIFY_1"};

int companionCalls = 0;
int32_t companionResult = kOk;
int32_t countCompanion(const runtime::Pkcs12TypesTable** out) {
  ++companionCalls;
  *out = nullptr;
  return companionResult;
}

TEST_F(ModuleEntry, BindsFourteenTablesInTheirOrder) {
  ASSERT_EQ(module_init(&spy.root, nullptr), kOk);
  EXPECT_THAT(spy.rootCallNames(), testing::ElementsAreArray(kTables));
  for (const RootCall& call : spy.rootCalls()) {
    const bool isString = call.name.find("String") != std::string::npos;
    EXPECT_EQ(call.component, isString ? std::optional<std::string>("vexastring") : std::nullopt)
        << call.name;
  }
  EXPECT_EQ(module_final(), kOk);
}

TEST_F(ModuleEntry, ReleasesTablesInReverseByTheAddressOfTheirHolders) {
  ASSERT_EQ(module_init(&spy.root, nullptr), kOk);
  const auto bindings = spy.rootCalls();
  spy.clearRootCalls();
  ASSERT_EQ(module_final(), kOk);
  const auto releases = spy.rootCalls();
  ASSERT_EQ(releases.size(), bindings.size());
  for (size_t i = 0; i < releases.size(); ++i) {
    const RootCall& binding = bindings[bindings.size() - 1 - i];
    EXPECT_EQ(releases[i].kind, RootCall::kRelease);
    EXPECT_EQ(releases[i].name, binding.name);
    EXPECT_EQ(releases[i].holder, binding.holder);
  }
}

TEST_F(ModuleEntry, AHostsRootListIsNeverReleased) {
  ASSERT_EQ(module_init(&spy.root, nullptr), kOk);
  ASSERT_EQ(module_final(), kOk);
  EXPECT_THAT(spy.rootCallNames(), testing::Not(testing::Contains("-root")));
}

TEST_F(ModuleEntry, WithoutAnOutAddressNothingIsHandedOut) {
  EXPECT_EQ(module_init(&spy.root, nullptr), kOk);
  EXPECT_EQ(module_final(), kOk);
}

TEST_F(ModuleEntry, NestedStartsBindNothingAgainButAskForTheCompanion) {
  spy.pkcs12.GetTypes = countCompanion;
  companionCalls = 0;
  companionResult = kOk;
  ASSERT_EQ(module_init(&spy.root, nullptr), kOk);
  EXPECT_EQ(companionCalls, 1);
  spy.clearRootCalls();
  ASSERT_EQ(module_init(nullptr, nullptr), kOk) << "null is a nested call when a list is stored";
  EXPECT_EQ(companionCalls, 2);
  EXPECT_THAT(spy.rootCallNames(), IsEmpty());
  EXPECT_EQ(module_final(), kOk);
  EXPECT_THAT(spy.rootCallNames(), IsEmpty()) << "the first end releases nothing";
  EXPECT_EQ(module_final(), kOk);
  EXPECT_EQ(spy.rootCallNames().size(), std::size(kTables));
}

TEST_F(ModuleEntry, TheFirstRootListStays) {
  runtime::RootList other = spy.root;
  other.GetInterface = [](const char*, const char*, const void**) {
    ADD_FAILURE() << "a table of the second list was asked for";
    return kFail;
  };
  other.ReleaseInterface = [](const void**) { ADD_FAILURE() << "given back to the second list"; };
  other.Allocate = [](uint64_t) -> void* {
    ADD_FAILURE() << "memory of the second list";
    return nullptr;
  };
  GetModuleInterfaceFunction lookup = nullptr;
  ASSERT_EQ(module_init(&spy.root, &lookup), kOk);
  EXPECT_EQ(module_init(&other, nullptr), kOk);
  const void* list = nullptr;
  ASSERT_EQ(lookup(nullptr, kCoreListName, &list), kOk);
  runtime::ByteBuffer* buffer = nullptr;
  EXPECT_EQ(static_cast<const CoreList*>(list)->AllocBuffer(1, &buffer), kOk);
  spy.commonTypes.BufferRelease(buffer);
  EXPECT_EQ(module_final(), kOk);
  EXPECT_EQ(module_final(), kOk);
}

TEST_F(ModuleEntry, TheCompanionGoesBeforeItsTable) {
  static bool wasBound = false;
  static decltype(spy.root.ReleaseInterface) release = nullptr;
  release = spy.root.ReleaseInterface;
  spy.root.ReleaseInterface = [](const void** table) {
    if (table == &base::bound.pkcs12.pointer) {
      wasBound = static_cast<bool>(base::bound.pkcs12Types);
    }
    release(table);
  };
  ASSERT_EQ(module_init(&spy.root, nullptr), kOk);
  EXPECT_EQ(base::bound.pkcs12Types.pointer, &spy.pkcs12Types);
  wasBound = true;
  ASSERT_EQ(module_final(), kOk);
  EXPECT_FALSE(wasBound) << "while the table is given back there is none any more";
  EXPECT_FALSE(base::bound.pkcs12Types);
}

TEST_F(ModuleEntry, AFailedBindingStopsThereAndKeepsEarlierTables) {
  for (int k = 1; k <= static_cast<int>(std::size(kTables)); ++k) {
    spy.clearRootCalls();
    spy.failBinding(k);
    GetModuleInterfaceFunction lookup = nullptr;
    EXPECT_EQ(module_init(&spy.root, &lookup), kFail);
    EXPECT_NE(lookup, nullptr) << "handed out even when the start fails";
    EXPECT_EQ(spy.rootCalls().size(), static_cast<size_t>(k));
    EXPECT_EQ(spy.boundInterfaces(), k - 1);
    EXPECT_EQ(module_final(), kOk) << "the failed start counts";
    EXPECT_EQ(spy.boundInterfaces(), 0);
  }
}

TEST_F(ModuleEntry, APositiveBindingResultCountsAsFailure) {
  spy.failBinding("SEC_TIME_1", 1);
  EXPECT_EQ(module_init(&spy.root, nullptr), kFail);
  EXPECT_EQ(module_final(), kOk);
}

TEST_F(ModuleEntry, AFailedCompanionCallReturnsItsOwnResult) {
  spy.pkcs12.GetTypes = countCompanion;
  companionResult = kAccessDenied;
  EXPECT_EQ(module_init(&spy.root, nullptr), kAccessDenied);
  EXPECT_EQ(spy.boundInterfaces(), 1) << "the walk stopped at the first record";
  EXPECT_EQ(module_final(), kOk);
  companionResult = kOk;
}

TEST_F(ModuleEntry, ACompanionThatIsNotGivenLeavesTheOneBefore) {
  spy.pkcs12.GetTypes = countCompanion;
  companionResult = kOk;
  ASSERT_EQ(module_init(&spy.root, nullptr), kOk);
  EXPECT_FALSE(base::bound.pkcs12Types) << "null counts as none";
  EXPECT_NE(base::bound.pkcs12Types.pointer, nullptr);
  spy.pkcs12.GetTypes = [](const runtime::Pkcs12TypesTable** out) {
    *out = &SpyRuntime::current().pkcs12Types;
    return kOk;
  };
  ASSERT_EQ(module_init(nullptr, nullptr), kOk);
  EXPECT_EQ(base::bound.pkcs12Types.pointer, &spy.pkcs12Types);
  spy.pkcs12.GetTypes = [](const runtime::Pkcs12TypesTable** out) {
    static const runtime::Pkcs12TypesTable left = {};
    *out = &left;
    return kFail;
  };
  EXPECT_EQ(module_init(nullptr, nullptr), kFail);
  EXPECT_EQ(base::bound.pkcs12Types.pointer, &spy.pkcs12Types) << "what a failure left is nothing";
  for (int ends = 0; ends < 3; ++ends) {
    EXPECT_EQ(module_final(), kOk);
  }
}

TEST_F(ModuleEntry, StartsAgainAfterAFullEnd) {
  for (int i = 0; i < 3; ++i) {
    spy.clearRootCalls();
    GetModuleInterfaceFunction lookup = nullptr;
    ASSERT_EQ(module_init(&spy.root, &lookup), kOk);
    EXPECT_THAT(spy.rootCallNames(), testing::ElementsAreArray(kTables));
    const void* list = nullptr;
    EXPECT_EQ(lookup(nullptr, kCoreListName, &list), kOk);
    ASSERT_EQ(module_final(), kOk);
  }
}

TEST_F(ModuleEntry, AGoodStartFollowsAFailedOne) {
  spy.failBinding(3);
  EXPECT_EQ(module_init(&spy.root, nullptr), kFail);
  EXPECT_EQ(module_final(), kOk);
  spy.allowBindings();
  EXPECT_EQ(module_init(&spy.root, nullptr), kOk);
  EXPECT_EQ(module_final(), kOk);
}

TEST_F(ModuleEntry, AnEndWithoutAStartChangesNothing) {
  EXPECT_EQ(module_final(), kOk);
  EXPECT_THAT(spy.rootCalls(), IsEmpty());
  ASSERT_EQ(module_init(&spy.root, nullptr), kOk);
  EXPECT_EQ(module_final(), kOk);
  spy.clearRootCalls();
  EXPECT_EQ(module_final(), kOk);
  EXPECT_THAT(spy.rootCalls(), IsEmpty());
}

TEST_F(ModuleEntry, SurvivesEveryFailedAllocationAtStart) {
  sweepAllocations(spy, [this] {
    const int32_t result = module_init(&spy.root, nullptr);
    EXPECT_EQ(module_final(), kOk);
    return result == kOk;
  });
}

TEST_F(ModuleEntry, ListsThatNeedNoRuntimeAreFoundWhileUnbound) {
  ASSERT_EQ(module_init(&spy.root, nullptr), kOk);
  GetModuleInterfaceFunction lookup = nullptr;
  ASSERT_EQ(module_init(nullptr, &lookup), kOk);
  ASSERT_EQ(module_final(), kOk);
  ASSERT_EQ(module_final(), kOk);
  const void* list = nullptr;
  ASSERT_EQ(lookup(nullptr, kCoreListName, &list), kOk);
  runtime::ByteBuffer* buffer = nullptr;
  EXPECT_EQ(static_cast<const CoreList*>(list)->AllocBuffer(1, &buffer), kBufferFail)
      << "no root list, no memory";
}

}  // namespace
}  // namespace vexa::test
