#include "library.h"

#include <utility>

#ifdef _WIN32
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace vexahost {

Library::Library(Library&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}

Library& Library::operator=(Library&& other) noexcept {
  std::swap(handle_, other.handle_);
  return *this;
}

#ifdef _WIN32

const char* const kModuleFile = "vexabase.dll";
const char* const kRuntimeFile = "velmora.dll";

Library::~Library() {
  if (handle_ != nullptr) {
    FreeLibrary(static_cast<HMODULE>(handle_));
  }
}

Library Library::load(const std::filesystem::path& file) {
  return Library(LoadLibraryW(file.c_str()));
}

Library Library::loaded(const char* fileName) {
  HMODULE module = nullptr;
  GetModuleHandleExA(0, fileName, &module);
  return Library(module);
}

std::string Library::lastError() { return "Windows error " + std::to_string(GetLastError()); }

void* Library::findSymbol(const char* name) const {
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(handle_), name));
}

std::filesystem::path programFolder() {
  std::wstring file(32768, L'\0');
  file.resize(GetModuleFileNameW(nullptr, file.data(), static_cast<DWORD>(file.size())));
  return std::filesystem::path(file).parent_path();
}

#else

const char* const kModuleFile = "libvexabase.so";
const char* const kRuntimeFile = "velmora.so";

Library::~Library() {
  if (handle_ != nullptr) {
    dlclose(handle_);
  }
}

Library Library::load(const std::filesystem::path& file) {
  return Library(dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL));
}

Library Library::loaded(const char* fileName) {
  return Library(dlopen(fileName, RTLD_NOW | RTLD_LOCAL | RTLD_NOLOAD));
}

std::string Library::lastError() {
  const char* const text = dlerror();
  return text != nullptr ? text : "unknown error";
}

void* Library::findSymbol(const char* name) const { return dlsym(handle_, name); }

std::filesystem::path programFolder() {
  return std::filesystem::read_symlink("/proc/self/exe").parent_path();
}

#endif

}  // namespace vexahost
