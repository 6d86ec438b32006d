#include "base/library.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "fake_library.h"
#include "vexa/results.h"

namespace vexa::base {
namespace {

using testing::IsEmpty;

class LibrarySearchTest : public testing::Test {
 protected:
  void SetUp() override {
    fake = {};
    fake.isModuleKnown = true;
  }

  bool load(const char* name, const char* directory, uint32_t flags) {
    return LoadModuleLibrary(here(name).c_str(), here(directory).c_str(), flags, nullptr, 0) !=
           nullptr;
  }
  static std::vector<std::string> paths(std::vector<std::string> paths) {
    std::transform(paths.begin(), paths.end(), paths.begin(), here);
    return paths;
  }

  FakeLibraries& fake = FakeLibraries::instance();
};

constexpr uint32_t kOwnAndLib = 3;

TEST_F(LibrarySearchTest, AddsTheExtensionToANameWithoutOne) {
  fake.present = {here("/app/velmora.so")};
  EXPECT_TRUE(load("velmora", "/app", kOwnAndLib));
  EXPECT_TRUE(load("velmora.so", "/app", kOwnAndLib));
  EXPECT_FALSE(load("velmora.x", "/app", kOwnAndLib));
  EXPECT_EQ(fake.attempts, paths({"/app/velmora.so", "/app/velmora.so", "/app/velmora.x"}));
}

TEST_F(LibrarySearchTest, ANameWithABackslashAndNoExtensionIsLoadedExactlyAsGiven) {
  fake.present = {"somewhere\\velmora"};
  EXPECT_TRUE(load("somewhere\\velmora", "/app", kOwnAndLib));
  EXPECT_FALSE(load("elsewhere\\velmora", "/app", kOwnAndLib));
  EXPECT_EQ(fake.attempts, paths({"somewhere\\velmora", "elsewhere\\velmora"}));
}

TEST_F(LibrarySearchTest, NamesOf259CharactersAndMoreFail) {
  EXPECT_FALSE(load(std::string(259, 'a').c_str(), "/app", 0));
  EXPECT_THAT(fake.attempts, IsEmpty());
  auto module = reinterpret_cast<HMODULE>(&fake);
  EXPECT_EQ(LoadSystemLibrary(std::string(259, 'a').c_str(), &module), kFail);
  EXPECT_EQ(module, nullptr);
  EXPECT_THAT(fake.attempts, IsEmpty());
  EXPECT_FALSE(load((std::string(257, 'a') + "\\").c_str(), "/app", 0));
  EXPECT_EQ(fake.attempts.size(), 1u) << "258 characters are tried";
  // As they stand, so that no folder takes the room before.
  for (const size_t length : {258u, 259u, 260u, 1000u}) {
    EXPECT_FALSE(load((std::string(length, 'a') + "\\").c_str(), "/app", 0));
    EXPECT_FALSE(load(std::string(length + 1, 'a').c_str(), "/app", 0));
  }
  EXPECT_EQ(fake.attempts.size(), 1u) << "259 are not";
}

TEST_F(LibrarySearchTest, SystemNamesOf259CharactersAndMoreFail) {
  fake.systemDirectory = here("/");
  const std::string extension = PAL_LIBRARY_EXTENSION;
  const auto nameOf = [&](size_t length) {
    return std::string(length - extension.size(), 'a') + extension;
  };
  HMODULE module = nullptr;
  EXPECT_EQ(LoadSystemLibrary(nameOf(258).c_str(), &module), kFail);
  EXPECT_EQ(fake.attempts.size(), 1u) << "258 characters are tried";
  for (const size_t length : {259u, 260u, 261u, 1000u}) {
    EXPECT_EQ(LoadSystemLibrary(nameOf(length).c_str(), &module), kFail);
  }
  EXPECT_EQ(fake.attempts.size(), 1u) << "259 are not";
}

TEST_F(LibrarySearchTest, LooksInTheSiblingLibOfBinOnly) {
  EXPECT_FALSE(load("v", "/app/bin", kOwnAndLib));
  EXPECT_EQ(fake.attempts, paths({"/app/bin/v.so", "/app/lib/v.so"}));
  fake.attempts.clear();
  EXPECT_FALSE(load("v", "/app/BIN", kOwnAndLib));
  EXPECT_EQ(fake.attempts, paths({"/app/BIN/v.so", "/app/lib/v.so"}));
  fake.attempts.clear();
  EXPECT_FALSE(load("v", "/app/other", kOwnAndLib));
  EXPECT_EQ(fake.attempts, paths({"/app/other/v.so"}));
}

TEST_F(LibrarySearchTest, TheFirstPlaceThatLoadsWins) {
  fake.present = {here("/app/bin/v.so"), here("/app/lib/v.so")};
  EXPECT_TRUE(load("v", "/app/bin", kOwnAndLib));
  EXPECT_EQ(fake.attempts, paths({"/app/bin/v.so"}));
}

TEST_F(LibrarySearchTest, Flag2LooksInTheOwnFolderOnlyWhenItIsCalledLib) {
  EXPECT_FALSE(load("v", "/app/bin", 2));
  EXPECT_EQ(fake.attempts, paths({"/app/lib/v.so"}));
  fake.attempts.clear();
  EXPECT_FALSE(load("v", "/app/Lib", 2));
  EXPECT_EQ(fake.attempts, paths({"/app/Lib/v.so"}));
}

TEST_F(LibrarySearchTest, Flag1LooksInTheOwnFolderOnly) {
  EXPECT_FALSE(load("v", "/app/bin", 1));
  EXPECT_EQ(fake.attempts, paths({"/app/bin/v.so"}));
}

TEST_F(LibrarySearchTest, WithoutFlagsBothPlacesAndTheSystemDirectoryAreTried) {
  EXPECT_FALSE(load("v", "/app/other", 0));
  EXPECT_EQ(fake.attempts, paths({"/app/other/v.so", "/app/lib/v.so", "/system/v.so"}));
}

TEST_F(LibrarySearchTest, OtherFlagsReachTheSystemDirectoryAlone) {
  EXPECT_FALSE(load("v", "/app/bin", 4));
  EXPECT_EQ(fake.attempts, paths({"/system/v.so"}));
}

TEST_F(LibrarySearchTest, TheScratchBufferHoldsTheSystemPath) {
  fake.present = {here("/system/v.so")};
  char scratch[kPathCapacity] = {};
  EXPECT_NE(LoadModuleLibrary("v", here("/app").c_str(), 0, scratch, sizeof(scratch)), nullptr);
  EXPECT_EQ(scratch, here("/system/v.so"));
}

TEST_F(LibrarySearchTest, ASystemDirectoryWithoutRoomFails) {
  fake.systemDirectory = here("/") + std::string(255, 's');
  EXPECT_FALSE(load("velmora", "/app", 4));
  fake.systemDirectory = here("/") + std::string(300, 's');
  EXPECT_FALSE(load("v", "/app", 4));
  EXPECT_THAT(fake.attempts, IsEmpty());
}

TEST_F(LibrarySearchTest, ADirectoryWithoutRoomFails) {
  EXPECT_FALSE(load("v", ("/" + std::string(300, 'd')).c_str(), kOwnAndLib));
  EXPECT_THAT(fake.attempts, IsEmpty());
}

TEST_F(LibrarySearchTest, LoadSystemLibraryLooksThereAlone) {
  fake.present = {here("/system/v.so")};
  HMODULE module = nullptr;
  EXPECT_EQ(LoadSystemLibrary("v", &module), kOk);
  EXPECT_NE(module, nullptr);
  EXPECT_EQ(LoadSystemLibrary("w", &module), kFail);
  EXPECT_EQ(module, nullptr);
  EXPECT_EQ(fake.attempts, paths({"/system/v.so", "/system/w.so"}));
}

std::string directoryOf(std::string file) {
  file = here(file);
  return base::directoryOf(file.data());
}

TEST_F(LibrarySearchTest, TheDirectoryOfAFileLosesTheLongPathPrefix) {
  EXPECT_EQ(directoryOf("/app/module.so"), here("/app"));
  EXPECT_EQ(directoryOf("c:/app/module.so"), here("c:/app"));
  EXPECT_EQ(directoryOf("\\\\?\\c:/app/module.so"), here("c:/app"));
  EXPECT_EQ(directoryOf("\\\\server/share/module.so"), here("\\\\server/share"));
}

TEST_F(LibrarySearchTest, AServersFolderWithTheLongPathPrefixStaysTheServers) {
  EXPECT_EQ(directoryOf("\\\\?\\UNC\\server/share/module.so"), here("\\\\server/share"));
  EXPECT_EQ(directoryOf("\\\\?\\unc\\server/share/module.so"), here("\\\\server/share"));
}

// The name would be completed from the current folder.
TEST_F(LibrarySearchTest, AFileWithoutACompletePathHasNoDirectory) {
  EXPECT_EQ(directoryOf("\\\\?\\Volume{1}/app/module.so"), "");
  EXPECT_EQ(directoryOf("\\\\?\\GLOBALROOT/Device/app/module.so"), "");
  EXPECT_EQ(directoryOf("app/module.so"), "");
  EXPECT_EQ(directoryOf("module.so"), "");
}

TEST_F(LibrarySearchTest, TheOwnFileNameNeedsRoomForAllOfIt) {
  std::string room(fake.moduleFile.size() + 1, '?');
  EXPECT_TRUE(ownFileName(room.data(), static_cast<uint32_t>(room.size())));
  EXPECT_EQ(room.c_str(), fake.moduleFile);
  EXPECT_FALSE(ownFileName(room.data(), static_cast<uint32_t>(room.size()) - 1));
}

TEST_F(LibrarySearchTest, WithoutAModuleThereIsNoFileName) {
  fake.isModuleKnown = false;
  char room[kPathCapacity] = {};
  EXPECT_FALSE(ownFileName(room, sizeof(room)));
  fake.isModuleKnown = true;
  fake.moduleFile.clear();
  EXPECT_FALSE(ownFileName(room, sizeof(room)));
}

// The directory is found once in a process.
TEST_F(LibrarySearchTest, TheOwnDirectoryLosesTheLongPathPrefix) {
  fake.isModuleKnown = false;
  EXPECT_STREQ(ownDirectory(), "") << "not yet";
  fake.isModuleKnown = true;
  fake.moduleFile = here("\\\\?\\/app/bin/module.so");
  EXPECT_EQ(ownDirectory(), here("/app/bin"));
}

}  // namespace
}  // namespace vexa::base
