#include "base/class_registry.h"
#include "base/list_registry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "support/module_fixture.h"
#include "support/sweep.h"
#include "vexa/core.h"

namespace vexa::base {
namespace {

using test::tableEntry;
using testing::Contains;
using testing::ElementsAre;
using testing::Not;

constexpr Guid kAnyId{1, 2, 3, {4}};
constexpr char kOther[] = "spycomponent";
static_assert(std::string_view(kOther) == test::FakeComponent::kName);

class ClassRegistryTest : public test::ModuleTest {
 protected:
  void TearDown() override {
    SetCreateHook(nullptr);
    ModuleTest::TearDown();
    EXPECT_EQ(classFactories().count(), 0u) << "the cache is empty after the last end";
  }

  // Whose lists were given back.
  std::vector<std::string> releasedComponents() const {
    std::vector<std::string> components;
    for (const test::RootCall& call : spy.rootCalls()) {
      if (call.kind == test::RootCall::kRelease && call.name == kClassFactoryListName) {
        components.push_back(call.component.value_or(""));
      }
    }
    return components;
  }

  int object = 0;
};

// --- Lists ---

TEST_F(ClassRegistryTest, ListNamesAreCaseSensitive) {
  const void* found = this;
  EXPECT_EQ(lookup(nullptr, "Vexa.misc.base.core.1", &found), kUnknownList);
  EXPECT_EQ(found, nullptr);
  EXPECT_EQ(lookup(nullptr, "vexa.misc.base.core.1", &found), kOk);
  EXPECT_NE(found, nullptr);
}

TEST_F(ClassRegistryTest, NullListArgumentsAreRefused) {
  const void* found = this;
  EXPECT_EQ(lookup(nullptr, nullptr, &found), kNullListArgument);
  EXPECT_EQ(lookup(nullptr, kCoreListName, nullptr), kNullListArgument);
}

TEST_F(ClassRegistryTest, AnEmptyHostNameAlwaysPassesAndRegistersNothing) {
  const void* found = nullptr;
  EXPECT_EQ(lookup("", kCoreListName, &found), kOk);
  EXPECT_STREQ(registeredHostName(), "");
}

TEST_F(ClassRegistryTest, GetModuleInfoFillsWhatIsNotNull) {
  for (const char* name : {kCoreListName, kAscListName, kClassFactoryListName}) {
    auto* info = tableEntry<int32_t(const char**, const char**, const char**)>(list(name), 0);
    const char* ownName = nullptr;
    const char* host = "x";
    const char* extra = nullptr;
    EXPECT_EQ(info(&ownName, &host, &extra), kOk);
    EXPECT_STREQ(ownName, name);
    EXPECT_EQ(host, nullptr) << "no host is registered";
    EXPECT_STREQ(extra, "");
    EXPECT_EQ(info(nullptr, nullptr, nullptr), kOk);
  }
}

TEST_F(ClassRegistryTest, ANegativeCheckHidesAList) {
  class Hidden final : public CVEXA_API {
   public:
    using CVEXA_API::CVEXA_API;
    int32_t Check() const override { return result; }
    int32_t result = kFail;
  };
  static const int functions = 0;
  static Hidden hidden{"vexabase", "test.hidden", &functions};
  const void* found = this;
  EXPECT_EQ(lookup(nullptr, "test.hidden", &found), kUnknownList);
  EXPECT_EQ(found, nullptr);
  hidden.result = 1;
  EXPECT_EQ(lookup(nullptr, "test.hidden", &found), kOk);
  EXPECT_EQ(found, &functions);
}

TEST_F(ClassRegistryTest, TheRecordConstructedLastIsFoundFirst) {
  static const int older = 0;
  static const int newer = 0;
  static ListRecord first{"vexabase", "test.twice", &older};
  static ListRecord second{"vexabase", "test.twice", &newer};
  EXPECT_EQ(list("test.twice"), &newer);
}

// --- Classes ---

TEST_F(ClassRegistryTest, AnUnknownClassGivesNullAndFails) {
  void* out = &object;
  auto* createSlot =
      tableEntry<int32_t(const char*, const Guid*, void**)>(list(kClassFactoryListName), 1);
  EXPECT_EQ(createSlot("no.such.class", &kAnyId, &out), kFail);
  EXPECT_EQ(out, nullptr);
}

TEST_F(ClassRegistryTest, NullArgumentsAreCheckedOutFirst) {
  void* out = &object;
  EXPECT_EQ(CreateInstance(nullptr, &kAnyId, nullptr), kNullPointer);
  EXPECT_EQ(CreateInstance(nullptr, &kAnyId, &out), kInvalidArgument);
  EXPECT_EQ(out, nullptr);
}

TEST_F(ClassRegistryTest, SetCreateHookAlwaysFails) {
  auto* setHook = tableEntry<int32_t(CreateHookFunction)>(list(kClassFactoryListName), 2);
  EXPECT_EQ(setHook(nullptr), kFail);
  EXPECT_EQ(setHook([](const char*, const char*, const Guid*, void**) { return kOk; }), kFail);
}

std::string hookCall;
int32_t recordingHook(const char* component, const char* className, const Guid* id, void** out) {
  hookCall = std::string(component) + "/" + className;
  EXPECT_EQ(id, &kAnyId);
  EXPECT_EQ(out, nullptr);
  return 42;
}

TEST_F(ClassRegistryTest, TheHookAnswersBeforeTheOutPointerIsChecked) {
  SetCreateHook(recordingHook);
  EXPECT_EQ(CreateComponentInstance("c", "n", &kAnyId, nullptr), 42);
  EXPECT_EQ(hookCall, "c/n");
  void* out = &object;
  EXPECT_EQ(CreateInstance("no.such.class", &kAnyId, &out), kFail) << "no component, no hook";
}

int32_t createSeven(const Guid*, void** out) {
  static int seven = 7;
  *out = &seven;
  return kOk;
}
int32_t catchAllResult = kFail;
std::vector<std::string> catchAllCalls;
int32_t catchAll(const char* className, const Guid*, void**) {
  catchAllCalls.push_back(className);
  return catchAllResult;
}

TEST_F(ClassRegistryTest, ACatchAllCreatorEndsTheSearchOnlyWithSuccessOrNoInterface) {
  static FactoryRecord seven{"testcomponent", "test.seven", createSeven};
  static FactoryRecord all{"testcomponent", catchAll};
  catchAllCalls.clear();
  void* out = nullptr;
  for (const int32_t goesOn : {kFail, kFalse, kOutOfMemory}) {
    catchAllResult = goesOn;
    EXPECT_EQ(CreateComponentInstance("testcomponent", "test.seven", &kAnyId, &out), kOk);
    EXPECT_NE(out, nullptr);
  }
  for (const int32_t ends : {kOk, kNoInterface}) {
    catchAllResult = ends;
    EXPECT_EQ(CreateComponentInstance("testcomponent", "test.seven", &kAnyId, &out), ends);
    EXPECT_EQ(out, nullptr);
  }
  EXPECT_THAT(catchAllCalls, testing::Each(std::string("test.seven")));
  EXPECT_EQ(catchAllCalls.size(), 5u);
  catchAllResult = kFail;
  EXPECT_EQ(CreateComponentInstance("Testcomponent", "test.seven", &kAnyId, &out), kFail)
      << "component names are case-sensitive";
}

// --- Other components ---

TEST_F(ClassRegistryTest, RoutesToAnotherComponentAndKeepsItsList) {
  spy.component.object = &object;
  void* out = nullptr;
  EXPECT_EQ(RouteCreateInstance(kOther, "their.class", &kAnyId, &out), kOk);
  EXPECT_EQ(out, &object);
  EXPECT_EQ(RouteCreateInstance(kOther, "their.class", &kAnyId, &out), kOk);
  EXPECT_THAT(spy.rootCallNames(), ElementsAre("ClassFactory.1"));
  EXPECT_EQ(spy.component.hook, &RouteCreateInstance);
  EXPECT_EQ(spy.component.hooksSet, 1);
  ASSERT_EQ(spy.component.creations.size(), 2u);
  EXPECT_EQ(spy.component.creations[0].className, "their.class");
  EXPECT_EQ(spy.component.creations[0].interfaceId, kAnyId);
  EXPECT_EQ(classFactories().count(), 1u);
}

TEST_F(ClassRegistryTest, TheKeptListIsReleasedAtTheEndAndBoundAfreshAfterwards) {
  void* out = nullptr;
  EXPECT_EQ(RouteCreateInstance(kOther, "c", &kAnyId, &out), kOk);
  spy.clearRootCalls();
  stop();
  EXPECT_THAT(spy.rootCallNames(), Contains("-ClassFactory.1"));
  for (int start = 0; start < 2; ++start) {
    ASSERT_EQ(module_init(&spy.root, nullptr), kOk);
    spy.clearRootCalls();
    EXPECT_EQ(RouteCreateInstance(kOther, "c", &kAnyId, &out), kOk);
    EXPECT_THAT(spy.rootCallNames(), ElementsAre("ClassFactory.1"));
    EXPECT_EQ(module_final(), kOk);
  }
}

TEST_F(ClassRegistryTest, KeptListsAreReleasedLastToFirst) {
  const std::vector<std::string> names = {"first", "second", "third"};
  std::vector<ClassFactoryList> lists(names.size(), spy.component.list);
  for (size_t i = 0; i < names.size(); ++i) {
    spy.addInterface(names[i].c_str(), kClassFactoryListName, &lists[i]);
    EXPECT_EQ(classFactories().GetFactory(names[i].c_str(), true), &lists[i]);
  }
  // Each with its name: what is released, or the list that goes.
  static std::vector<std::string> released;
  static auto* const releaseText = spy.commonTypes.TextRelease;
  static auto* const releaseList = spy.root.ReleaseInterface;
  released.clear();
  spy.commonTypes.TextRelease = [](char* text) {
    released.emplace_back(text);
    releaseText(text);
  };
  spy.root.ReleaseInterface = [](const void** table) {
    released.emplace_back("a list");
    releaseList(table);
  };
  spy.clearRootCalls();
  EXPECT_EQ(classFactories().Unload(0), kOk);
  EXPECT_THAT(released, ElementsAre("third", "a list", "second", "a list", "first", "a list"));
  EXPECT_THAT(releasedComponents(), ElementsAre("third", "second", "first"));
}

TEST_F(ClassRegistryTest, TheRegistryRegistersWithItsFirstKeptListAlone) {
  ClassFactoryList second = spy.component.list;
  spy.addInterface("second", kClassFactoryListName, &second);
  ASSERT_NE(classFactories().GetFactory(kOther, true), nullptr);
  const int64_t nodes = test::allocation_gate::liveProcessBlocks();
  ASSERT_NE(classFactories().GetFactory("second", true), nullptr);
  EXPECT_EQ(test::allocation_gate::liveProcessBlocks(), nodes);
}

TEST_F(ClassRegistryTest, KeptListsOutliveObjectsThatAreReleasedFirst) {
  class Older final : public ISingleton {
   public:
    int32_t Load() override { return kOk; }
    int32_t Unload(uint32_t /*pass*/) override {
      keptAtEnd = classFactories().count();
      return kOk;
    }
    uint64_t keptAtEnd = 0;
  } older;
  ASSERT_EQ(RegisterSingleton(&older, kReleaseFirst), kOk);
  ASSERT_NE(classFactories().GetFactory(kOther, true), nullptr);
  stop();
  EXPECT_EQ(older.keptAtEnd, 1u);
}

TEST_F(ClassRegistryTest, EachKeptListIsFoundAgain) {
  ClassFactoryList second = spy.component.list;
  spy.addInterface("second", kClassFactoryListName, &second);
  for (int time = 0; time < 2; ++time) {
    EXPECT_EQ(classFactories().GetFactory(kOther, true), &spy.component.list);
    EXPECT_EQ(classFactories().GetFactory("second", true), &second);
  }
  EXPECT_EQ(classFactories().count(), 2u);
  EXPECT_THAT(spy.rootCallNames(), ElementsAre("ClassFactory.1", "ClassFactory.1"));
}

TEST_F(ClassRegistryTest, WithoutTheKeepFlagNothingIsCached) {
  const ClassFactoryList* theirs = classFactories().GetFactory(kOther, false);
  ASSERT_NE(theirs, nullptr);
  EXPECT_EQ(classFactories().count(), 0u);
  EXPECT_EQ(spy.component.hooksSet, 0);
  const void* table = theirs;
  spy.root.ReleaseInterface(&table);
}

TEST_F(ClassRegistryTest, AComponentThatIsNotThereFails) {
  void* out = nullptr;
  EXPECT_EQ(RouteCreateInstance("nobody", "c", &kAnyId, &out), kFail);
  EXPECT_EQ(classFactories().GetFactory("nobody", true), nullptr);
  EXPECT_EQ(classFactories().count(), 0u);
}

TEST_F(ClassRegistryTest, AComponentThatGivesNothingButSuccessIsNotThere) {
  spy.root.GetInterface = [](const char*, const char*, const void** table) {
    *table = nullptr;
    return kOk;
  };
  EXPECT_EQ(classFactories().GetFactory(kOther, true), nullptr);
  EXPECT_EQ(classFactories().GetFactory(kOther, false), nullptr);
  EXPECT_EQ(classFactories().count(), 0u);
}

TEST_F(ClassRegistryTest, RoutingNeedsAComponentAndAClass) {
  void* out = nullptr;
  EXPECT_EQ(RouteCreateInstance(nullptr, "c", &kAnyId, &out), kInvalidArgument);
  EXPECT_EQ(RouteCreateInstance(kOther, nullptr, &kAnyId, &out), kInvalidArgument);
}

TEST_F(ClassRegistryTest, RoutingTriesTheModulesOwnClassesFirst) {
  static FactoryRecord seven{"routecomponent", "test.routed", createSeven};
  void* out = nullptr;
  EXPECT_EQ(RouteCreateInstance("routecomponent", "test.routed", &kAnyId, &out), kOk);
  EXPECT_NE(out, nullptr);
  EXPECT_THAT(spy.rootCallNames(), Not(Contains("ClassFactory.1")));
}

TEST_F(ClassRegistryTest, AnEmptyNameIsNotTheHostsWhileThereIsNone) {
  static FactoryRecord nameless{"", "test.nameless", createSeven};
  spy.addInterface("", kClassFactoryListName, &spy.component.list);
  void* out = nullptr;
  EXPECT_EQ(RouteCreateInstance("", "test.nameless", &kAnyId, &out), kOk);
  EXPECT_NE(out, nullptr) << "the module's own classes were tried";
  EXPECT_EQ(RouteCreateInstance("", "their.class", &kAnyId, &out), kOk);
  EXPECT_EQ(classFactories().count(), 1u) << "the list is kept like any other";
}

TEST_F(ClassRegistryTest, APositiveResultOfTheModulesOwnClassesIsTheResult) {
  static FactoryRecord positive{"positivecomponent", "test.positive",
                                [](const Guid*, void**) { return kFalse; }};
  spy.addInterface("positivecomponent", kClassFactoryListName, &spy.component.list);
  void* out = nullptr;
  EXPECT_EQ(RouteCreateInstance("positivecomponent", "test.positive", &kAnyId, &out), kFalse);
  EXPECT_TRUE(spy.component.creations.empty()) << "the component itself was not asked";
}

TEST_F(ClassRegistryTest, KeepingAListSurvivesEveryFailedAllocation) {
  // The registry's own node stays for the next start, so blocks of the process heap are not
  // counted.
  for (uint64_t n = 1; n <= 8; ++n) {
    const int64_t before = spy.liveBlocks();
    test::allocation_gate::failAt(n, false);
    const bool kept = classFactories().GetFactory(kOther, true) != nullptr;
    const bool refused = test::allocation_gate::refused() != 0;
    test::allocation_gate::neverFail();
    EXPECT_EQ(kept, !refused) << n;
    EXPECT_EQ(classFactories().count(), kept ? 1u : 0u);
    EXPECT_EQ(classFactories().Unload(0), kOk);
    EXPECT_EQ(spy.liveBlocks(), before);
  }
  EXPECT_EQ(module_init(nullptr, nullptr), kOk) << "a failed registration does no lasting harm";
  EXPECT_EQ(module_final(), kOk);
}

}  // namespace
}  // namespace vexa::base
