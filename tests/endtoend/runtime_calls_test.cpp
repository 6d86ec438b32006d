#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "fake_velmora.h"
#include "installed_module.h"
#include "vexa/core.h"
#include "vexa/shared_library.h"

namespace vexa::test {
namespace {

#if defined(_WIN32)
constexpr char kFakeRuntimeFile[] = "fake_velmora.dll";
#else
constexpr char kFakeRuntimeFile[] = "fake_velmora.so";
#endif
constexpr int kTables = 14;

// The module beside a runtime that notes what is done to it.
class RuntimeCalls : public testing::Test {
 protected:
  // A reference of the test's own, with which the notes can be read at any time.
  FakeVelmora& watch() {
    library = SharedLibrary::load(runtimeFile);
    return *library.find<FakeVelmoraFunction>("fake_velmora")();
  }
  void stopWatching() { library = SharedLibrary(); }
  bool isRuntimeLoaded() const {
    return static_cast<bool>(SharedLibrary::loaded(runtimeFile.string().c_str()));
  }

  Installation installation;
  LoadedModule module{installation.put("app", kModuleFile)};
  fs::path runtimeFile{installation.put("app", kFakeRuntimeFile, kRuntimeFile)};
  SharedLibrary library;
};

TEST_F(RuntimeCalls, TheExportIsAskedWithItsSixArguments) {
  const FakeVelmora& fake = watch();
  EXPECT_EQ(module.init(nullptr, nullptr), kOk) << "what the export returns does not count";
  EXPECT_EQ(fake.asked, 1);
  EXPECT_EQ(fake.first, 0u);
  EXPECT_EQ(fake.second, 0u);
  EXPECT_TRUE(fake.hasOut);
  EXPECT_EQ(fake.fourth, 0u);
  EXPECT_STREQ(fake.options, "");
  EXPECT_EQ(fake.sixth, 0u);
  EXPECT_EQ(module.final(), kOk);
}

TEST_F(RuntimeCalls, TheRootListIsReleasedOnceAtTheLastEnd) {
  const FakeVelmora& fake = watch();
  ASSERT_EQ(module.init(nullptr, nullptr), kOk);
  ASSERT_EQ(module.init(nullptr, nullptr), kOk);
  EXPECT_EQ(fake.asked, 1) << "the second start has a root list already";
  EXPECT_EQ(fake.bound, kTables);
  EXPECT_EQ(module.final(), kOk);
  EXPECT_EQ(fake.released, 0);
  EXPECT_EQ(fake.bound, kTables);
  EXPECT_EQ(module.final(), kOk);
  EXPECT_EQ(fake.released, 1);
  EXPECT_EQ(fake.releasedRoot, fake.root);
  EXPECT_EQ(fake.bound, 0);
  EXPECT_EQ(module.final(), kOk);
  EXPECT_EQ(fake.released, 1);
}

TEST_F(RuntimeCalls, AHostsRootListNeedsNoLibraryAndIsNotReleased) {
  const auto own = SharedLibrary::load(installation.put("own", kFakeRuntimeFile, kRuntimeFile));
  const FakeVelmora& fake = *own.find<FakeVelmoraFunction>("fake_velmora")();
  ASSERT_EQ(module.init(fake.root, nullptr), kOk);
  EXPECT_FALSE(isRuntimeLoaded()) << "the one beside the module";
  EXPECT_EQ(fake.bound, kTables);
  EXPECT_EQ(module.final(), kOk);
  EXPECT_EQ(fake.bound, 0);
  EXPECT_EQ(fake.asked, 0);
  EXPECT_EQ(fake.released, 0);
}

TEST_F(RuntimeCalls, TheLibraryStaysUntilTheLastEndAndGoesWithIt) {
  for (int i = 0; i < 2; ++i) {
    ASSERT_EQ(module.init(nullptr, nullptr), kOk);
    ASSERT_EQ(module.init(nullptr, nullptr), kOk);
    EXPECT_EQ(module.final(), kOk);
    EXPECT_TRUE(isRuntimeLoaded());
    EXPECT_EQ(module.final(), kOk);
    EXPECT_FALSE(isRuntimeLoaded());
  }
}

TEST_F(RuntimeCalls, AStartWithoutARootListFailsAndNeedsItsEnd) {
  FakeVelmora& fake = watch();
  fake.givesRoot = false;
  GetModuleInterfaceFunction lookup = nullptr;
  EXPECT_EQ(module.init(nullptr, &lookup), kFail);
  EXPECT_EQ(fake.bound, 0);
  EXPECT_EQ(module.final(), kOk);
  EXPECT_EQ(fake.released, 0) << "there was none";
  stopWatching();
  EXPECT_FALSE(isRuntimeLoaded()) << "that end has let the library go";
  FakeVelmora& again = watch();
  again.givesRoot = false;
  EXPECT_EQ(module.init(nullptr, nullptr), kFail);
  again.givesRoot = true;
  EXPECT_EQ(module.init(nullptr, nullptr), kOk) << "a start before that end";
  EXPECT_EQ(module.final(), kOk);
  EXPECT_EQ(again.released, 0);
  EXPECT_EQ(module.final(), kOk);
  EXPECT_EQ(again.released, 1);
  stopWatching();
  EXPECT_FALSE(isRuntimeLoaded());
}

// One end is enough for the good start that follows.
TEST_F(RuntimeCalls, AStartWithoutTheLibraryDoesNotCount) {
  fs::remove(runtimeFile);
  EXPECT_EQ(module.init(nullptr, nullptr), kFail);
  installation.put("app", kFakeRuntimeFile, kRuntimeFile);
  ASSERT_EQ(module.init(nullptr, nullptr), kOk);
  EXPECT_EQ(module.final(), kOk);
  EXPECT_FALSE(isRuntimeLoaded());
}

TEST_F(RuntimeCalls, AStartWithoutTheExportDoesNotCountAndLetsTheLibraryGo) {
  installation.put("app", kWrongRuntimeFile, kRuntimeFile);
  EXPECT_EQ(module.init(nullptr, nullptr), kFail);
  EXPECT_FALSE(isRuntimeLoaded());
  installation.put("app", kFakeRuntimeFile, kRuntimeFile);
  ASSERT_EQ(module.init(nullptr, nullptr), kOk);
  EXPECT_EQ(module.final(), kOk);
  EXPECT_FALSE(isRuntimeLoaded());
}

// What a runtime meets that calls the module's exports from within its own functions.
class RuntimeCallsBack : public RuntimeCalls {
 protected:
  void SetUp() override {
    called = this;
    starts.clear();
  }
  void TearDown() override { called = nullptr; }

  static void startAndEnd() {
    GetModuleInterfaceFunction lookup = nullptr;
    starts.push_back(called->module.init(called->watched->root, &lookup));
    EXPECT_NE(lookup, nullptr) << "handed out even when the start fails";
    starts.push_back(called->module.init(nullptr, nullptr));
    EXPECT_EQ(called->module.final(), kOk);
    EXPECT_EQ(called->module.final(), kOk);
    EXPECT_EQ(called->module.final(), kOk) << "one too many";
  }

  FakeVelmora& watchCalls() {
    watched = &watch();
    return *watched;
  }
  // Each such start was refused.
  static void expectRefused(size_t calls) {
    EXPECT_EQ(starts, std::vector<int32_t>(2 * calls, kFail));
    starts.clear();
  }
  void expectStartAndEnd(const FakeVelmora& fake) {
    ASSERT_EQ(module.init(nullptr, nullptr), kOk);
    EXPECT_EQ(fake.bound, kTables);
    EXPECT_EQ(module.final(), kOk);
    EXPECT_EQ(fake.bound, 0);
  }

  static inline RuntimeCallsBack* called = nullptr;
  static inline std::vector<int32_t> starts;  // what they answered
  FakeVelmora* watched = nullptr;
};

TEST_F(RuntimeCallsBack, FromTheExport) {
  FakeVelmora& fake = watchCalls();
  fake.inExport = startAndEnd;
  expectStartAndEnd(fake);
  expectRefused(1);
  EXPECT_EQ(fake.asked, 1);
  EXPECT_EQ(fake.released, 1);
}

// The first start failed and counts; its end, come too early, would unload the code that runs.
TEST_F(RuntimeCallsBack, FromTheExportWhileAnEarlierStartCounts) {
  FakeVelmora& fake = watchCalls();
  fake.givesRoot = false;
  EXPECT_EQ(module.init(nullptr, nullptr), kFail);
  fake.givesRoot = true;
  fake.inExport = startAndEnd;
  stopWatching();
  ASSERT_TRUE(isRuntimeLoaded());
  ASSERT_EQ(module.init(nullptr, nullptr), kOk);
  EXPECT_TRUE(isRuntimeLoaded());
  expectRefused(1);
  EXPECT_EQ(module.final(), kOk);
  EXPECT_TRUE(isRuntimeLoaded()) << "two starts";
  EXPECT_EQ(module.final(), kOk);
  EXPECT_FALSE(isRuntimeLoaded());
}

TEST_F(RuntimeCallsBack, FromEachBindingAndEachRelease) {
  FakeVelmora& fake = watchCalls();
  for (int i = 0; i < 2; ++i) {
    fake.inBinding = startAndEnd;
    fake.inRelease = nullptr;
    expectStartAndEnd(fake);
    expectRefused(kTables);
    fake.inBinding = nullptr;
    fake.inRelease = startAndEnd;
    expectStartAndEnd(fake);
    expectRefused(kTables);
  }
  EXPECT_EQ(fake.released, 4);
}

TEST_F(RuntimeCallsBack, FromTheReleaseOfTheRootList) {
  FakeVelmora& fake = watchCalls();
  fake.inReleaseRoot = startAndEnd;
  expectStartAndEnd(fake);
  expectRefused(1);
  stopWatching();
  EXPECT_FALSE(isRuntimeLoaded());
}

TEST_F(RuntimeCallsBack, WithAHostsRootList) {
  FakeVelmora& fake = watchCalls();
  fake.inBinding = startAndEnd;
  ASSERT_EQ(module.init(fake.root, nullptr), kOk);
  expectRefused(kTables);
  EXPECT_EQ(module.final(), kOk);
  EXPECT_EQ(fake.bound, 0);
  EXPECT_EQ(fake.asked, 0);
}

// Nobody should throw there, and the module catches nothing; it is as if there had been no start.
TEST_F(RuntimeCalls, AnExceptionOutOfTheExportIsAStartThatDoesNotCount) {
  FakeVelmora& fake = watch();
  fake.inExport = [] { throw 1; };
  EXPECT_ANY_THROW(module.init(nullptr, nullptr));
  fake.inExport = nullptr;
  ASSERT_EQ(module.init(nullptr, nullptr), kOk);
  EXPECT_EQ(fake.bound, kTables);
  EXPECT_EQ(module.final(), kOk);
  EXPECT_EQ(fake.bound, 0);
  stopWatching();
  EXPECT_FALSE(isRuntimeLoaded());
}

// A runtime whose lists lack functions that a start or an end calls.
class RuntimeWithGaps : public RuntimeCalls {
 protected:
  // From velmora, and from a host.
  void expectFailedStarts(FakeVelmora& fake, int32_t bound) {
    for (const runtime::RootList* root : {static_cast<const runtime::RootList*>(nullptr),
                                          static_cast<const runtime::RootList*>(fake.root)}) {
      EXPECT_EQ(module.init(root, nullptr), kFail);
      EXPECT_EQ(fake.bound, bound);
      EXPECT_EQ(module.final(), kOk);
      EXPECT_EQ(fake.bound, 0);
    }
  }
};

TEST_F(RuntimeWithGaps, ARootListOfNothing) {
  FakeVelmora& fake = watch();
  const runtime::RootList whole = *fake.root;
  *fake.root = {};
  expectFailedStarts(fake, 0);
  *fake.root = whole;
  EXPECT_EQ(module.init(nullptr, nullptr), kOk);
  EXPECT_EQ(fake.bound, kTables);
  EXPECT_EQ(module.final(), kOk);
  EXPECT_EQ(fake.bound, 0);
}

TEST_F(RuntimeWithGaps, ARootListThatBindsNothing) {
  FakeVelmora& fake = watch();
  fake.root->GetInterface = nullptr;
  expectFailedStarts(fake, 0);
  EXPECT_EQ(fake.released, 1) << "velmora's, as it was given";
  EXPECT_EQ(fake.releasedRoot, fake.root);
}

TEST_F(RuntimeWithGaps, ARootListThatTakesNothingBack) {
  FakeVelmora& fake = watch();
  fake.root->ReleaseInterface = nullptr;
  fake.root->ReleaseRoot = nullptr;
  for (const int32_t bound : {kTables, 2 * kTables}) {
    EXPECT_EQ(module.init(nullptr, nullptr), kOk);
    EXPECT_EQ(fake.bound, bound) << "the next start binds anew";
    EXPECT_EQ(module.final(), kOk);
  }
  stopWatching();
  EXPECT_FALSE(isRuntimeLoaded());
}

TEST_F(RuntimeWithGaps, ARootListWithoutMemory) {
  FakeVelmora& fake = watch();  // its heap has no functions
  GetModuleInterfaceFunction lookup = nullptr;
  ASSERT_EQ(module.init(nullptr, &lookup), kOk);
  const void* core = nullptr;
  ASSERT_EQ(lookup(nullptr, kCoreListName, &core), kOk);
  runtime::ByteBuffer* buffer = nullptr;
  EXPECT_EQ(static_cast<const CoreList*>(core)->AllocBuffer(1, &buffer), kBufferFail);
  EXPECT_EQ(buffer, nullptr);
  EXPECT_EQ(module.final(), kOk);
  EXPECT_EQ(fake.bound, 0);
}

TEST_F(RuntimeWithGaps, APkcs12TableWithoutItsCompanion) {
  FakeVelmora& fake = watch();
  fake.pkcs12->GetTypes = nullptr;
  expectFailedStarts(fake, 1);
}

TEST_F(RuntimeWithGaps, NullForATable) {
  FakeVelmora& fake = watch();
  fake.root->GetInterface = [](const char*, const char*, const void** table) {
    *table = nullptr;
    return kOk;
  };
  expectFailedStarts(fake, 0);
}

}  // namespace
}  // namespace vexa::test
