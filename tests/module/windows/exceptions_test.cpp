#include <gtest/gtest.h>

// Before what it needs.
#include <windows.h>

#include <comdef.h>

#include <cstring>
#include <filesystem>

#include "vexa/all.h"
#include "vexa/holders.h"
#include "vexa/shared_library.h"

namespace vexa::test {
namespace {

int failuresLeft = 0;

LPVOID WINAPI allocateOrFail(HANDLE heap, DWORD flags, SIZE_T size) {
  return failuresLeft > 0 && failuresLeft-- > 0 ? nullptr : HeapAlloc(heap, flags, size);
}

// The place in a loaded library where the address of an imported function stands.
FARPROC* importedFunction(HMODULE module, const char* name) {
  auto* const image = reinterpret_cast<char*>(module);
  const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(image);
  const auto* headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(image + dos->e_lfanew);
  const auto& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
  for (const auto* library =
           reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(image + directory.VirtualAddress);
       library->Name != 0; ++library) {
    const auto* names =
        reinterpret_cast<const IMAGE_THUNK_DATA*>(image + library->OriginalFirstThunk);
    auto* addresses = reinterpret_cast<FARPROC*>(image + library->FirstThunk);
    for (; names->u1.AddressOfData != 0; ++names, ++addresses) {
      const auto* entry = reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(
          image + static_cast<size_t>(names->u1.AddressOfData));
      if (!IMAGE_SNAP_BY_ORDINAL(names->u1.Ordinal) &&
          std::strcmp(reinterpret_cast<const char*>(entry->Name), name) == 0) {
        return addresses;
      }
    }
  }
  return nullptr;
}

// The built module, whose process heap fails on demand.
class ThrowingModule : public testing::Test {
 protected:
  void SetUp() override {
    const auto file = std::filesystem::absolute("../bin") / kModuleFile;
    library = SharedLibrary::load(file);
    FARPROC* const place = importedFunction(GetModuleHandleW(file.c_str()), "HeapAlloc");
    ASSERT_NE(place, nullptr);
    DWORD protection = 0;
    ASSERT_TRUE(VirtualProtect(place, sizeof(*place), PAGE_READWRITE, &protection));
    *place = reinterpret_cast<FARPROC>(reinterpret_cast<void*>(&allocateOrFail));

    ASSERT_EQ(library.find<ModuleInitFunction>(kModuleInitExport)(nullptr, &lookup), kOk);
    const void* found = nullptr;
    ASSERT_EQ(lookup(nullptr, kClassFactoryListName, &found), kOk);
    ASSERT_EQ(static_cast<const ClassFactoryList*>(found)->CreateInstance(
                  kOwnCertificatesClassName, &IID_IOwnCertificates, own.putVoid()),
              kOk);
  }
  void TearDown() override {
    failuresLeft = 0;
    own.reset();
    EXPECT_EQ(library.find<ModuleFinalFunction>(kModuleFinalExport)(), kOk);
  }

  // The PSE object cannot be had, and so Refresh throws. What it threw.
  int32_t thrown(int failures) {
    failuresLeft = failures;
    try {
      (void)own->Refresh();
    } catch (const _com_error& error) {
      return error.Error();
    }
    return kOk;
  }

  SharedLibrary library;
  GetModuleInterfaceFunction lookup = nullptr;
  InterfaceHolder<IOwnCertificates> own;
};

TEST_F(ThrowingModule, ItsExceptionReachesAHostOfTheSameCompiler) {
  EXPECT_EQ(thrown(1), kNullPointer);
  EXPECT_EQ(own->Refresh(), kOk) << "the next call has the memory";
}

TEST_F(ThrowingModule, ThrowsWithoutAnyMemory) {
  constexpr int kMoreThanAreInReserve = 20;
  for (int i = 0; i < kMoreThanAreInReserve; ++i) {
    ASSERT_EQ(thrown(2), kNullPointer) << i;
    ASSERT_EQ(failuresLeft, 0) << "neither object nor exception got a block";
  }
}

}  // namespace
}  // namespace vexa::test
