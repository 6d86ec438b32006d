#include <gtest/gtest.h>

#include <memory>

#include "fake_velmora.h"
#include "installed_module.h"
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

}  // namespace
}  // namespace vexa::test
