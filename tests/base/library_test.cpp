#include "base/library.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "fake_library.h"
#include "vexa/results.h"

namespace vexa::base {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class LibrarySearchTest : public testing::Test {
 protected:
  void SetUp() override {
    fake = {};
    fake.isModuleKnown = true;
  }

  bool load(const char* name, const char* directory, uint32_t flags) {
    return LoadModuleLibrary(name, directory, flags, nullptr, 0) != nullptr;
  }

  FakeLibraries& fake = FakeLibraries::instance();
};

constexpr uint32_t kOwnAndLib = 3;

TEST_F(LibrarySearchTest, AddsTheExtensionToANameWithoutOne) {
  fake.present = {"/app/velmora.so"};
  EXPECT_TRUE(load("velmora", "/app", kOwnAndLib));
  EXPECT_TRUE(load("velmora.so", "/app", kOwnAndLib));
  EXPECT_FALSE(load("velmora.x", "/app", kOwnAndLib));
  EXPECT_THAT(fake.attempts, ElementsAre("/app/velmora.so", "/app/velmora.so", "/app/velmora.x"));
}

TEST_F(LibrarySearchTest, ANameWithABackslashAndNoExtensionIsLoadedExactlyAsGiven) {
  fake.present = {"somewhere\\velmora"};
  EXPECT_TRUE(load("somewhere\\velmora", "/app", kOwnAndLib));
  EXPECT_FALSE(load("elsewhere\\velmora", "/app", kOwnAndLib));
  EXPECT_THAT(fake.attempts, ElementsAre("somewhere\\velmora", "elsewhere\\velmora"));
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
  fake.systemDirectory = "/";
  const std::string extension = ".so";
  HMODULE module = nullptr;
  EXPECT_EQ(LoadSystemLibrary((std::string(255, 'a') + extension).c_str(), &module), kFail);
  EXPECT_EQ(fake.attempts.size(), 1u) << "258 characters are tried";
  for (const size_t length : {256u, 257u, 258u, 1000u}) {
    EXPECT_EQ(LoadSystemLibrary((std::string(length, 'a') + extension).c_str(), &module), kFail);
  }
  EXPECT_EQ(fake.attempts.size(), 1u) << "259 are not";
}

TEST_F(LibrarySearchTest, LooksInTheSiblingLibOfBinOnly) {
  EXPECT_FALSE(load("v", "/app/bin", kOwnAndLib));
  EXPECT_THAT(fake.attempts, ElementsAre("/app/bin/v.so", "/app/lib/v.so"));
  fake.attempts.clear();
  EXPECT_FALSE(load("v", "/app/BIN", kOwnAndLib));
  EXPECT_THAT(fake.attempts, ElementsAre("/app/BIN/v.so", "/app/lib/v.so"));
  fake.attempts.clear();
  EXPECT_FALSE(load("v", "/app/other", kOwnAndLib));
  EXPECT_THAT(fake.attempts, ElementsAre("/app/other/v.so"));
}

TEST_F(LibrarySearchTest, TheFirstPlaceThatLoadsWins) {
  fake.present = {"/app/bin/v.so", "/app/lib/v.so"};
  EXPECT_TRUE(load("v", "/app/bin", kOwnAndLib));
  EXPECT_THAT(fake.attempts, ElementsAre("/app/bin/v.so"));
}

TEST_F(LibrarySearchTest, Flag2LooksInTheOwnFolderOnlyWhenItIsCalledLib) {
  EXPECT_FALSE(load("v", "/app/bin", 2));
  EXPECT_THAT(fake.attempts, ElementsAre("/app/lib/v.so"));
  fake.attempts.clear();
  EXPECT_FALSE(load("v", "/app/Lib", 2));
  EXPECT_THAT(fake.attempts, ElementsAre("/app/Lib/v.so"));
}

TEST_F(LibrarySearchTest, Flag1LooksInTheOwnFolderOnly) {
  EXPECT_FALSE(load("v", "/app/bin", 1));
  EXPECT_THAT(fake.attempts, ElementsAre("/app/bin/v.so"));
}

TEST_F(LibrarySearchTest, WithoutFlagsBothPlacesAndTheSystemDirectoryAreTried) {
  EXPECT_FALSE(load("v", "/app/other", 0));
  EXPECT_THAT(fake.attempts, ElementsAre("/app/other/v.so", "/app/lib/v.so", "/system/v.so"));
}

TEST_F(LibrarySearchTest, OtherFlagsReachTheSystemDirectoryAlone) {
  EXPECT_FALSE(load("v", "/app/bin", 4));
  EXPECT_THAT(fake.attempts, ElementsAre("/system/v.so"));
}

TEST_F(LibrarySearchTest, TheScratchBufferHoldsTheSystemPath) {
  fake.present = {"/system/v.so"};
  char scratch[kPathCapacity] = {};
  EXPECT_NE(LoadModuleLibrary("v", "/app", 0, scratch, sizeof(scratch)), nullptr);
  EXPECT_STREQ(scratch, "/system/v.so");
}

TEST_F(LibrarySearchTest, ASystemDirectoryWithoutRoomFails) {
  fake.systemDirectory = "/" + std::string(255, 's');
  EXPECT_FALSE(load("velmora", "/app", 4));
  fake.systemDirectory = "/" + std::string(300, 's');
  EXPECT_FALSE(load("v", "/app", 4));
  EXPECT_THAT(fake.attempts, IsEmpty());
}

TEST_F(LibrarySearchTest, ADirectoryWithoutRoomFails) {
  EXPECT_FALSE(load("v", ("/" + std::string(300, 'd')).c_str(), kOwnAndLib));
  EXPECT_THAT(fake.attempts, IsEmpty());
}

TEST_F(LibrarySearchTest, LoadSystemLibraryLooksThereAlone) {
  fake.present = {"/system/v.so"};
  HMODULE module = nullptr;
  EXPECT_EQ(LoadSystemLibrary("v", &module), kOk);
  EXPECT_NE(module, nullptr);
  EXPECT_EQ(LoadSystemLibrary("w", &module), kFail);
  EXPECT_EQ(module, nullptr);
  EXPECT_THAT(fake.attempts, ElementsAre("/system/v.so", "/system/w.so"));
}

std::string directoryOf(std::string file) { return base::directoryOf(file.data()); }

TEST_F(LibrarySearchTest, TheDirectoryOfAFileLosesTheLongPathPrefix) {
  EXPECT_EQ(directoryOf("/app/module.so"), "/app");
  EXPECT_EQ(directoryOf("c:/app/module.so"), "c:/app");
  EXPECT_EQ(directoryOf("\\\\?\\c:/app/module.so"), "c:/app");
  EXPECT_EQ(directoryOf("\\\\server/share/module.so"), "\\\\server/share");
}

TEST_F(LibrarySearchTest, AServersFolderWithTheLongPathPrefixStaysTheServers) {
  EXPECT_EQ(directoryOf("\\\\?\\UNC\\server/share/module.so"), "\\\\server/share");
  EXPECT_EQ(directoryOf("\\\\?\\unc\\server/share/module.so"), "\\\\server/share");
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
  fake.moduleFile = "\\\\?\\/app/bin/module.so";
  EXPECT_STREQ(ownDirectory(), "/app/bin");
}

}  // namespace
}  // namespace vexa::base
