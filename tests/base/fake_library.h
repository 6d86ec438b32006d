#pragma once

#include <set>
#include <string>
#include <vector>

// A path as it is written here: given with slashes, and with ".so" for a library.
std::string here(std::string path);

// Stands in for library loading: knows some files and notes what was tried.
struct FakeLibraries {
  std::set<std::string> present;      // paths that can be loaded
  std::vector<std::string> attempts;  // in order
  std::string systemDirectory = here("/system");
  std::string moduleFile = here("/app/bin/module.so");
  bool isModuleKnown = false;  // nor is it when the program is loaded

  static FakeLibraries& instance();
};
