#include <gtest/gtest.h>

#include "installed_module.h"
#include "vexa/core.h"
#include "vexa/results.h"
#include "vexa/runtime/reference.h"

namespace vexa::test {
namespace {

// Starts and ends the module; true when it found its runtime.
bool startsAndEnds(const fs::path& moduleFile) {
  const LoadedModule module(moduleFile);
  if (module.init == nullptr) {
    ADD_FAILURE() << "not loaded: " << moduleFile;
    return false;
  }
  GetModuleInterfaceFunction lookup = nullptr;
  const int32_t result = module.init(nullptr, &lookup);
  EXPECT_NE(lookup, nullptr) << "handed out even when the start fails";
  if (failed(result)) {
    EXPECT_EQ(result, kFail);
    return false;
  }
  const void* list = nullptr;
  EXPECT_EQ(lookup("host", kCoreListName, &list), kOk);
  EXPECT_NE(list, nullptr);
  EXPECT_EQ(module.final(), kOk);
  return true;
}

struct PlaceCase {
  const char* name;
  const char* module;
  const char* runtime;
  bool isFound;
};
void PrintTo(const PlaceCase& place, std::ostream* out) { *out << place.name; }

class LibraryPlace : public testing::TestWithParam<PlaceCase> {};

TEST_P(LibraryPlace, IsSearchedOrNot) {
  const Installation installation;
  const fs::path module = installation.put(GetParam().module, kModuleFile);
  installation.put(GetParam().runtime, kRuntimeFile);
  EXPECT_EQ(startsAndEnds(module), GetParam().isFound);
}

INSTANTIATE_TEST_SUITE_P(All, LibraryPlace,
                         testing::Values(PlaceCase{"BesideTheModule", "app", "app", true},
                                         PlaceCase{"TheSiblingLibOfBin", "bin", "lib", true},
                                         PlaceCase{"OfBinInCapitals", "BIN", "lib", true},
                                         PlaceCase{"OfAnotherFolder", "app", "lib", false}),
                         [](const auto& place) { return std::string(place.param.name); });

TEST(LibrarySearch, AMissingRuntimeFailsAndALaterStartFindsIt) {
  const Installation installation;
  const LoadedModule module(installation.put("app", kModuleFile));
  ASSERT_NE(module.init, nullptr);
  EXPECT_EQ(module.init(nullptr, nullptr), kFail);
  EXPECT_EQ(module.final(), kOk) << "the failed start does not count";
  installation.put("app", kRuntimeFile);
  EXPECT_EQ(module.init(nullptr, nullptr), kOk);
  EXPECT_EQ(module.final(), kOk);
}

TEST(LibrarySearch, ARuntimeWithoutItsExportFailsAndALaterStartFindsTheRightOne) {
  const Installation installation;
  const LoadedModule module(installation.put("app", kModuleFile));
  ASSERT_NE(module.init, nullptr);
  const fs::path wrong = installation.put("app", kWrongRuntimeFile, kRuntimeFile);
  EXPECT_EQ(module.init(nullptr, nullptr), kFail);
  fs::remove(wrong);
  installation.put("app", kRuntimeFile);
  EXPECT_EQ(module.init(nullptr, nullptr), kOk);
  EXPECT_EQ(module.final(), kOk);
}

// Good copies of the runtime in places where the system would look for a library by its bare name.
class PlantedRuntimes {
 public:
  explicit PlantedRuntimes(const Installation& installation)
      : before_(fs::current_path()),
        current_(installation.put("current", kRuntimeFile).parent_path()) {
#if defined(_WIN32)
    char system[MAX_PATH] = {};
    GetSystemDirectoryA(system, MAX_PATH);
    inSystem_ = fs::path(system) / kRuntimeFile;
    fs::remove(inSystem_);
    fs::copy_file(builtFiles() / kRuntimeFile, inSystem_);
#endif
    fs::current_path(current_);
  }
  PlantedRuntimes(const PlantedRuntimes&) = delete;
  PlantedRuntimes& operator=(const PlantedRuntimes&) = delete;
  ~PlantedRuntimes() {
    fs::current_path(before_);
    if (!inSystem_.empty()) {
      fs::remove(inSystem_);
    }
  }

 private:
  fs::path before_;
  fs::path current_;
  fs::path inSystem_;  // empty: that folder is left alone
};

TEST(LibrarySearch, IsAtHomeInAFolderAsLongAsWindowsKnowsThem) {
  const Installation installation;
  const std::string folder = installation.folderFor(kModuleFile, 259);
  const fs::path module = installation.put(folder.c_str(), kModuleFile);
  installation.put(folder.c_str(), kRuntimeFile);
  ASSERT_EQ(module.string().size(), 259u);
  EXPECT_TRUE(startsAndEnds(module));
}

TEST(LibrarySearch, FailsInALongerFolderAndLooksNowhereElse) {
  for (const size_t length : {260u, 261u, 300u}) {
    const Installation installation;
    const std::string folder = installation.folderFor(kModuleFile, length);
    const fs::path module = installation.put(folder.c_str(), kModuleFile);
    installation.put(folder.c_str(), kRuntimeFile);
    ASSERT_EQ(module.string().size(), length);
    const PlantedRuntimes planted(installation);
    EXPECT_FALSE(startsAndEnds(module)) << length;
  }
}

TEST(LibrarySearch, TriesLeaveNoFolderBehind) {
  fs::path root;
  {
    const Installation installation;
    root = installation.put("bin", kModuleFile).parent_path().parent_path();
    installation.put(installation.folderFor(kModuleFile, 300).c_str(), kModuleFile);
  }
  EXPECT_FALSE(fs::exists(root));
}

TEST(LibrarySearch, LooksNeitherInTheCurrentFolderNorInTheSystems) {
  const Installation installation;
  const fs::path module = installation.put("bin", kModuleFile);
  const PlantedRuntimes planted(installation);
  EXPECT_FALSE(startsAndEnds(module));
}

#if defined(_WIN32)
// Without its prefix such a path names nothing, or what lies there from the current folder. Windows
// loads libraries by volume, Wine by the files of its own system.
TEST(LibrarySearch, DoesNotStartAtTheCurrentFolderForAPathThatNeedsItsPrefix) {
  const std::wstring prefix = L"\\\\?\\";
  const Installation installation;
  const fs::path file = installation.put("app", kModuleFile);
  wchar_t volume[MAX_PATH] = {};
  ASSERT_TRUE(GetVolumeNameForVolumeMountPointW(file.root_path().c_str(), volume, MAX_PATH));
  int loaded = 0;
  for (const fs::path& root : {fs::path(volume + prefix.size()), fs::path("unix")}) {
    const fs::path path = root / file.relative_path();
    const LoadedModule module(prefix + path.native());
    if (module.init == nullptr) {
      continue;
    }
    ++loaded;
    installation.put(("current" / path.parent_path()).string().c_str(), kRuntimeFile);
    const fs::path before = fs::current_path();
    fs::current_path(file.parent_path().parent_path() / "current");
    EXPECT_EQ(module.init(nullptr, nullptr), kFail) << root;
    EXPECT_EQ(module.final(), kOk);
    fs::current_path(before);
  }
  EXPECT_GT(loaded, 0) << "neither kind of path leads to the module";
}
#endif

TEST(ModuleLifetime, NestedStartsBindOnceAndReleaseAtTheLastEnd) {
  const Installation installation;
  const LoadedModule module(installation.put("app", kModuleFile));
  const SharedLibrary runtime = loadLibrary(installation.put("app", kRuntimeFile));
  const auto bound = runtime.find<decltype(&velmora_bound_interfaces)>("velmora_bound_interfaces");
  ASSERT_NE(bound, nullptr);
  EXPECT_EQ(module.init(nullptr, nullptr), kOk);
  const int64_t tables = bound();
  EXPECT_EQ(tables, 14);
  EXPECT_EQ(module.init(nullptr, nullptr), kOk);
  EXPECT_EQ(bound(), tables);
  EXPECT_EQ(module.final(), kOk);
  EXPECT_EQ(bound(), tables);
  EXPECT_EQ(module.final(), kOk);
  EXPECT_EQ(bound(), 0);
  EXPECT_EQ(module.final(), kOk) << "one too many changes nothing";
}

TEST(ModuleLifetime, AHostsRootListServesWithoutTheRuntimesFile) {
  const Installation installation;
  const LoadedModule module(installation.put("app", kModuleFile));
  const SharedLibrary runtime = loadLibrary(installation.put("elsewhere", kRuntimeFile));
  const auto getRoot = runtime.find<runtime::GetRootListFunction>(runtime::kGetRootListExport);
  ASSERT_NE(getRoot, nullptr);
  const runtime::RootList* root = nullptr;
  getRoot(0, 0, &root, 0, "", 0);
  ASSERT_NE(root, nullptr);
  EXPECT_EQ(module.init(root, nullptr), kOk);
  EXPECT_EQ(module.final(), kOk);
}

TEST(ModuleLifetime, AThousandLoadsLeaveNoBlockBehind) {
  const Installation installation;
  const fs::path file = installation.put("app", kModuleFile);
  const SharedLibrary runtime = loadLibrary(installation.put("app", kRuntimeFile));
  const auto liveBlocks = runtime.find<decltype(&velmora_live_blocks)>("velmora_live_blocks");
  ASSERT_NE(liveBlocks, nullptr);
  const uint64_t before = liveBlocks();
  for (int i = 0; i < 1000; ++i) {
    const LoadedModule module(file);
    ASSERT_NE(module.init, nullptr);
    ASSERT_EQ(module.init(nullptr, nullptr), kOk);
    ASSERT_EQ(module.final(), kOk);
  }
  EXPECT_EQ(liveBlocks(), before);
}

}  // namespace
}  // namespace vexa::test
