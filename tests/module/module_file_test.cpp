#include <gmock/gmock.h>

#include <algorithm>
#include <cctype>
#include <filesystem>

#include "pe_file.h"

namespace vexa::test {
namespace {

const std::filesystem::path kModule = std::filesystem::path("..") / "bin" / "vexabase.dll";

TEST(ModuleFile, ExportsExactlyTwoNames) {
  EXPECT_THAT(readPeNames(kModule).exports,
              testing::UnorderedElementsAre("module_init", "module_final"));
}

TEST(ModuleFile, ImportsOnlyWindowsOwnLibraries) {
  constexpr const char* kWindowsLibraries[] = {
      "advapi32.dll", "crypt32.dll", "iphlpapi.dll", "kernel32.dll", "msvcrt.dll", "ole32.dll",
      "oleaut32.dll", "shlwapi.dll", "user32.dll",   "winhttp.dll",  "ws2_32.dll"};
  const PeNames names = readPeNames(kModule);
  EXPECT_FALSE(names.importedLibraries.empty());
  for (std::string library : names.importedLibraries) {
    std::transform(library.begin(), library.end(), library.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    EXPECT_THAT(kWindowsLibraries, testing::Contains(library));
  }
}

// A thread library inside the module would take thread-local indexes and handles at each load and
// keep them, and watch over the exceptions and threads of the whole process.
TEST(ModuleFile, HasNoThreadLibraryInside) {
  const std::vector<std::string> imports = readPeNames(kModule).importedFunctions;
  EXPECT_THAT(imports, testing::Contains("EnterCriticalSection")) << "the names are read";
  for (const char* name :
       {"TlsAlloc", "TlsSetValue", "CreateSemaphoreA", "CreateSemaphoreW", "SuspendThread",
        "SetThreadContext", "AddVectoredExceptionHandler", "DuplicateHandle"}) {
    EXPECT_THAT(imports, testing::Not(testing::Contains(name)));
  }
}

}  // namespace
}  // namespace vexa::test
