#pragma once

#include <set>
#include <string>
#include <vector>

// Stands in for library loading: knows some files and notes what was tried.
struct FakeLibraries {
  std::set<std::string> present;      // paths that can be loaded
  std::vector<std::string> attempts;  // in order
  std::string systemDirectory = "/system";
  std::string moduleFile = "/app/bin/module.so";
  bool isModuleKnown = false;  // nor is it when the program is loaded

  static FakeLibraries& instance();
};
