#include "fake_library.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "pal/replace.h"
#include "pal/windows_api.h"

#if defined(_WIN32)
std::string here(std::string path) {
  const std::string_view extension = ".so";
  for (size_t at = 0; (at = path.find(extension, at)) != std::string::npos;) {
    path.replace(at, extension.size(), PAL_LIBRARY_EXTENSION);
  }
  std::replace(path.begin(), path.end(), '/', '\\');
  return path;
}
#else
std::string here(std::string path) { return path; }
#endif

FakeLibraries& FakeLibraries::instance() {
  static FakeLibraries libraries;
  return libraries;
}

namespace {

// As Windows does it: cut without room, and then the capacity is returned.
DWORD copyOut(const std::string& text, char* buffer, DWORD capacity) {
  if (text.size() >= capacity) {
    std::memcpy(buffer, text.data(), capacity);
    return capacity;
  }
  std::strcpy(buffer, text.c_str());
  return static_cast<DWORD>(text.size());
}

}  // namespace

PAL_REPLACE(HMODULE, LoadLibraryA, (LPCSTR name)) {
  FakeLibraries& libraries = FakeLibraries::instance();
  libraries.attempts.emplace_back(name);
  static int loaded = 0;
  return libraries.present.count(name) != 0 ? reinterpret_cast<HMODULE>(&loaded) : nullptr;
}
#if !defined(_WIN32)
// Nobody asks for them here; but functions of one facility are replaced together.
PAL_REPLACE(FARPROC, GetProcAddress, (HMODULE, LPCSTR)) { return nullptr; }
PAL_REPLACE(BOOL, FreeLibrary, (HMODULE)) { return TRUE; }
#endif
PAL_REPLACE(DWORD, GetModuleFileNameA, (HMODULE, LPSTR path, DWORD size)) {
  return copyOut(FakeLibraries::instance().moduleFile, path, size);
}
PAL_REPLACE(BOOL, GetModuleHandleExA, (DWORD, LPCSTR name, HMODULE* module)) {
  const bool isKnown = FakeLibraries::instance().isModuleKnown;
  *module = isKnown ? reinterpret_cast<HMODULE>(const_cast<char*>(name)) : nullptr;
  return isKnown ? TRUE : FALSE;
}
PAL_REPLACE(UINT, GetSystemDirectoryA, (LPSTR path, UINT size)) {
  return copyOut(FakeLibraries::instance().systemDirectory, path, size);
}
