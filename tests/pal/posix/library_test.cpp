#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>

#include "../loaded_library.h"
#include "pal/posix/counters.h"
#include "pal/windows_api.h"

TEST(PosixLibrary, TheSystemFolderHoldsTheCLibrary) {
  const std::size_t before = pal::posix::openLibraries();
  char path[MAX_PATH] = {};
  GetSystemDirectoryA(path, sizeof(path));
  PathAppendA(path, "libc.so.6");
  HMODULE module = LoadLibraryA(path);
  ASSERT_NE(module, nullptr);
  EXPECT_NE(GetProcAddress(module, "strlen"), nullptr);
  EXPECT_EQ(pal::posix::openLibraries(), before + 1);
  EXPECT_TRUE(FreeLibrary(module));
  EXPECT_EQ(pal::posix::openLibraries(), before);
}

TEST(PosixLibrary, AHandleThatWasNeverGivenIsRefused) {
  int local = 0;
  const HMODULE module = reinterpret_cast<HMODULE>(&local);
  char path[MAX_PATH] = {};
  SetLastError(0);
  EXPECT_EQ(GetProcAddress(module, "strlen"), nullptr);
  EXPECT_EQ(GetLastError(), ERROR_MOD_NOT_FOUND);
  EXPECT_EQ(GetModuleFileNameA(module, path, sizeof(path)), 0u);
  EXPECT_FALSE(FreeLibrary(module));
}

TEST(PosixLibrary, AHandleThatWasLetGoIsRefused) {
  const std::string path = loadedLibrary();
  const HMODULE module = LoadLibraryA(path.c_str());
  ASSERT_NE(module, nullptr);
  EXPECT_EQ(LoadLibraryA(path.c_str()), module);
  EXPECT_TRUE(FreeLibrary(module));
  EXPECT_NE(GetProcAddress(module, "loaded_answer"), nullptr) << "there is a reference still";
  EXPECT_TRUE(FreeLibrary(module));
  SetLastError(0);
  EXPECT_EQ(GetProcAddress(module, "loaded_answer"), nullptr);
  EXPECT_EQ(GetLastError(), ERROR_MOD_NOT_FOUND);
  char told[MAX_PATH] = {};
  EXPECT_EQ(GetModuleFileNameA(module, told, sizeof(told)), 0u);
  EXPECT_FALSE(FreeLibrary(module));
}

TEST(PosixLibrary, AHandleFromAnAddressHoldsNoReference) {
  HMODULE program = nullptr;
  const auto* here = reinterpret_cast<const char*>(&pal::posix::openLibraries);
  ASSERT_TRUE(GetModuleHandleExA(
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT, here,
      &program));
  EXPECT_FALSE(FreeLibrary(program));
}

TEST(PosixLibrary, AnUncountedHandleDoesNotKeepItsLibrary) {
  const std::string path = loadedLibrary();
  const HMODULE module = LoadLibraryA(path.c_str());
  ASSERT_NE(module, nullptr);
  HMODULE found = nullptr;
  EXPECT_TRUE(GetModuleHandleExA(
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
      reinterpret_cast<const char*>(GetProcAddress(module, "loaded_answer")), &found));
  EXPECT_EQ(found, module);
  EXPECT_TRUE(FreeLibrary(module));
  EXPECT_EQ(dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD), nullptr) << "it is still loaded";
}

TEST(PosixLibrary, OnlyAddressesLeadToHandles) {
  auto module = reinterpret_cast<HMODULE>(&GetModuleHandleExA);
  SetLastError(0);
  EXPECT_FALSE(GetModuleHandleExA(0, "libc.so.6", &module));
  EXPECT_EQ(GetLastError(), ERROR_NOT_SUPPORTED);
  EXPECT_EQ(module, nullptr);
}

TEST(PosixLibrary, APathWithoutRoomIsNotWritten) {
  char path = 'x';
  SetLastError(0);
  EXPECT_EQ(GetModuleFileNameA(nullptr, &path, 0), 0u);
  EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
  EXPECT_EQ(path, 'x');
}

TEST(PosixLibrary, ABackslashSeparatesLikeASlash) {
  std::string written = loadedLibrary();
  std::replace(written.begin(), written.end(), '/', '\\');
  const HMODULE module = LoadLibraryA(written.c_str());
  EXPECT_NE(module, nullptr);
  EXPECT_TRUE(FreeLibrary(module));
}

TEST(PosixLibrary, APointInAFolderIsNoExtension) {
  const std::string folder = testing::TempDir() + "vexa.folder";
  std::filesystem::create_directory(folder);
  std::filesystem::copy_file(loadedLibrary(), folder + "/copy.so",
                             std::filesystem::copy_options::overwrite_existing);
  const HMODULE module = LoadLibraryA((folder + "/copy").c_str());
  EXPECT_NE(module, nullptr);
  EXPECT_TRUE(FreeLibrary(module));
  std::filesystem::remove_all(folder);
}

TEST(PosixLibrary, ARelativePathIsToldFromTheRootOn) {
  const std::string path = loadedLibrary();
  const auto relative = std::filesystem::path(".") / std::filesystem::relative(path);
  const HMODULE module = LoadLibraryA(relative.c_str());
  ASSERT_NE(module, nullptr);
  char told[MAX_PATH] = {};
  EXPECT_NE(GetModuleFileNameA(module, told, sizeof(told)), 0u);
  EXPECT_EQ(std::string(told), std::filesystem::canonical(path));
  EXPECT_TRUE(FreeLibrary(module));
}

// As if one that it needs were missing: the file is a library, and does not load.
TEST(PosixLibrary, TheFirstFourBytesTellALibrary) {
  const std::string path = testing::TempDir() + "vexa_beginning_of_a_library.so";
  const std::pair<std::string, DWORD> files[] = {{"\177ELF", ERROR_MOD_NOT_FOUND},
                                                 {"\177ELF and more", ERROR_MOD_NOT_FOUND},
                                                 {"\177EL", ERROR_BAD_EXE_FORMAT},
                                                 {"\177ELX and more", ERROR_BAD_EXE_FORMAT},
                                                 {"xELF and more", ERROR_BAD_EXE_FORMAT}};
  for (const auto& [bytes, error] : files) {
    std::ofstream(path, std::ios::binary) << bytes;
    SetLastError(0);
    EXPECT_EQ(LoadLibraryA(path.c_str()), nullptr);
    EXPECT_EQ(GetLastError(), error) << bytes;
  }
  std::filesystem::remove(path);
}

TEST(PosixLibrary, APointAtTheEndSaysThatThereIsNoExtension) {
  const std::string copy = testing::TempDir() + "vexa_library_without_extension";
  std::filesystem::copy_file(loadedLibrary(), copy,
                             std::filesystem::copy_options::overwrite_existing);
  EXPECT_EQ(LoadLibraryA(copy.c_str()), nullptr) << "with an extension there is no such file";
  const HMODULE module = LoadLibraryA((copy + ".").c_str());
  EXPECT_NE(module, nullptr);
  EXPECT_TRUE(FreeLibrary(module));
  std::filesystem::remove(copy);
}
