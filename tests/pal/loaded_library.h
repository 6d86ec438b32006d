#pragma once

#include <string>

#include "pal/windows_api.h"

// The library that stands beside the test program, for tests to load.
inline std::string besideProgram(const char* name) {
  char path[MAX_PATH] = {};
  GetModuleFileNameA(nullptr, path, sizeof(path));
  PathRemoveFileSpecA(path);
  PathAppendA(path, name);
  return path;
}
inline std::string loadedLibrary() {
  return besideProgram("pal_loaded_library" PAL_LIBRARY_EXTENSION);
}
