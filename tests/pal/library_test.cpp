#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <string>

#include "loaded_library.h"
#include "pal/windows_api.h"

namespace {

class LoadedLibrary : public testing::Test {
 protected:
  void SetUp() override {
    module_ = LoadLibraryA(loadedLibrary().c_str());
    ASSERT_NE(module_, nullptr) << GetLastError();
  }
  void TearDown() override { EXPECT_TRUE(FreeLibrary(module_)); }

  const char* addressInside() {
    using Address = const void* (*)();
    FARPROC function = GetProcAddress(module_, "loaded_address");
    return static_cast<const char*>(reinterpret_cast<Address>(reinterpret_cast<void*>(function))());
  }

  HMODULE module_ = nullptr;
};

constexpr DWORD kFromAddress = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS;
constexpr DWORD kUncounted = GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;

int inThisProgram = 0;

}  // namespace

TEST_F(LoadedLibrary, ItsExportsAreFoundByName) {
  FARPROC function = GetProcAddress(module_, "loaded_answer");
  ASSERT_NE(function, nullptr);
  EXPECT_EQ(reinterpret_cast<int (*)()>(reinterpret_cast<void*>(function))(), 42);
}

TEST_F(LoadedLibrary, AnUnknownExportIsNull) {
  SetLastError(0);
  EXPECT_EQ(GetProcAddress(module_, "loaded_nothing"), nullptr);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_PROC_NOT_FOUND});
}

TEST_F(LoadedLibrary, ItsFileNameIsTheOneThatWasLoaded) {
  char path[MAX_PATH] = {};
  const DWORD length = GetModuleFileNameA(module_, path, sizeof(path));
  EXPECT_EQ(length, std::string(path).size());
  EXPECT_EQ(lstrcmpiA(path, loadedLibrary().c_str()), 0) << path;
}

TEST_F(LoadedLibrary, AnAddressInsideLeadsToItsHandle) {
  HMODULE found = nullptr;
  ASSERT_TRUE(GetModuleHandleExA(kFromAddress | kUncounted, addressInside(), &found));
  EXPECT_EQ(found, module_);
}

TEST_F(LoadedLibrary, ACountedHandleIsReleasedOnItsOwn) {
  HMODULE found = nullptr;
  ASSERT_TRUE(GetModuleHandleExA(kFromAddress, addressInside(), &found));
  EXPECT_EQ(found, module_);
  EXPECT_TRUE(FreeLibrary(found));
  EXPECT_NE(GetProcAddress(module_, "loaded_answer"), nullptr);
}

TEST_F(LoadedLibrary, ASecondLoadGivesTheSameHandle) {
  HMODULE again = LoadLibraryA(loadedLibrary().c_str());
  EXPECT_EQ(again, module_);
  EXPECT_TRUE(FreeLibrary(again));
}

TEST_F(LoadedLibrary, ANameWithoutExtensionGetsThePlatforms) {
  HMODULE again = LoadLibraryA(besideProgram("pal_loaded_library").c_str());
  EXPECT_EQ(again, module_);
  EXPECT_TRUE(FreeLibrary(again));
}

TEST(Library, AMissingFileIsNotFound) {
  SetLastError(0);
  EXPECT_EQ(LoadLibraryA(besideProgram("nosuchlibrary").c_str()), nullptr);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_MOD_NOT_FOUND});
}

TEST(Library, NoNameIsNotFound) {
  EXPECT_EQ(LoadLibraryA(nullptr), nullptr);
  EXPECT_EQ(LoadLibraryA(""), nullptr);
}

TEST(Library, AFileThatIsNoLibraryIsRefused) {
  const std::string path = besideProgram("pal_no_library.bad");
  std::ofstream(path) << "no library, but a text that is longer than a header";
  SetLastError(0);
  EXPECT_EQ(LoadLibraryA(path.c_str()), nullptr);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_BAD_EXE_FORMAT});
  std::remove(path.c_str());
}

TEST(Library, FreeingNothingFails) {
  SetLastError(0);
  EXPECT_FALSE(FreeLibrary(nullptr));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
}

TEST(Library, TheProgramItselfIsAModule) {
  HMODULE program = nullptr;
  ASSERT_TRUE(GetModuleHandleExA(kFromAddress | kUncounted,
                                 reinterpret_cast<const char*>(&inThisProgram), &program));
  char byHandle[MAX_PATH] = {};
  char byNull[MAX_PATH] = {};
  GetModuleFileNameA(program, byHandle, sizeof(byHandle));
  GetModuleFileNameA(nullptr, byNull, sizeof(byNull));
  EXPECT_STREQ(byHandle, byNull);
  EXPECT_NE(byNull[0], '\0');
}

TEST(Library, AnAddressOfNoModuleIsNotFound) {
  char local = 0;
  HMODULE found = reinterpret_cast<HMODULE>(&local);
  SetLastError(0);
  EXPECT_FALSE(GetModuleHandleExA(kFromAddress | kUncounted, &local, &found));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_MOD_NOT_FOUND});
  EXPECT_EQ(found, nullptr);
}

TEST(Library, AFileNameThatDoesNotFitIsCut) {
  char whole[MAX_PATH] = {};
  GetModuleFileNameA(nullptr, whole, sizeof(whole));
  char path[6] = {'x', 'x', 'x', 'x', 'x', 'x'};
  SetLastError(0);
  EXPECT_EQ(GetModuleFileNameA(nullptr, path, 5), 5u);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
  EXPECT_EQ(std::string(path), std::string(whole).substr(0, 4));
  EXPECT_EQ(path[5], 'x') << "there is no room for more";
}

TEST(Library, AFileNameThatFitsToTheLastByteIsWhole) {
  char whole[MAX_PATH] = {};
  const DWORD length = GetModuleFileNameA(nullptr, whole, sizeof(whole));
  std::string path(length + 2, 'x');
  EXPECT_EQ(GetModuleFileNameA(nullptr, path.data(), length + 1), length);
  EXPECT_STREQ(path.c_str(), whole);
  EXPECT_EQ(path.back(), 'x') << "there is no room for more";
}

TEST(Library, TheSystemFolderTellsTheSizeItNeeds) {
  char path[MAX_PATH] = {};
  const UINT length = GetSystemDirectoryA(path, sizeof(path));
  EXPECT_EQ(length, std::string(path).size());
  EXPECT_GT(length, 0u);
  std::string small(length + 2, 'x');
  EXPECT_EQ(GetSystemDirectoryA(small.data(), length), length + 1);
  EXPECT_EQ(GetSystemDirectoryA(small.data(), length + 1), length);
  EXPECT_STREQ(small.c_str(), path);
  EXPECT_EQ(small.back(), 'x') << "there is no room for more";
}
