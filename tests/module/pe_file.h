#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace vexa::test {

// Names in a 64-bit Windows image, read from the file (Microsoft PE and COFF, export and import
// directories). Throws std::runtime_error when the file is not one.
struct PeNames {
  std::vector<std::string> exports;
  std::vector<std::string> importedLibraries;
  std::vector<std::string> importedFunctions;  // those imported by name, of all libraries
};
PeNames readPeNames(const std::filesystem::path& file);

}  // namespace vexa::test
