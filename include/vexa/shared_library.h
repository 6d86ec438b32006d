#pragma once

#include <filesystem>
#include <string>

#include "vexa/holders.h"

#ifdef _WIN32
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#else
#include <dlfcn.h>
#endif

// Libraries loaded at run time, for hosts: the one thing about the platform that a host must know.
namespace vexa {

#ifdef _WIN32
inline constexpr char kModuleFile[] = "vexabase.dll";
inline constexpr char kRuntimeFile[] = "velmora.dll";
#else
inline constexpr char kModuleFile[] = "libvexabase.so";
inline constexpr char kRuntimeFile[] = "velmora.so";
#endif

// Owns one reference to a loaded library.
class SharedLibrary {
 public:
  // Empty when the file cannot be loaded; lastError() says why.
  static SharedLibrary load(const std::filesystem::path& file) {
    SharedLibrary library;
    library.handle_.reset(open(file));
    return library;
  }
  // One more reference to a library that is loaded already; empty when it is not.
  static SharedLibrary loaded(const char* fileName) {
    SharedLibrary library;
    library.handle_.reset(openLoaded(fileName));
    return library;
  }

  explicit operator bool() const { return static_cast<bool>(handle_); }
  // An exported function, or null.
  template <class Function>
  Function find(const char* name) const {
    return handle_ ? reinterpret_cast<Function>(symbol(handle_.get(), name)) : nullptr;
  }

#ifdef _WIN32
  static std::string lastError() { return "Windows error " + std::to_string(GetLastError()); }

 private:
  static void* open(const std::filesystem::path& file) { return LoadLibraryW(file.c_str()); }
  static void* openLoaded(const char* fileName) {
    HMODULE module = nullptr;
    GetModuleHandleExA(0, fileName, &module);
    return module;
  }
  static void* symbol(void* handle, const char* name) {
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(handle), name));
  }
  static void close(void* handle) { FreeLibrary(static_cast<HMODULE>(handle)); }
#else
  static std::string lastError() {
    const char* const text = dlerror();
    return text != nullptr ? text : "unknown error";
  }

 private:
  static void* open(const std::filesystem::path& file) {
    return dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  }
  static void* openLoaded(const char* fileName) {
    return dlopen(fileName, RTLD_NOW | RTLD_LOCAL | RTLD_NOLOAD);
  }
  static void* symbol(void* handle, const char* name) { return dlsym(handle, name); }
  static void close(void* handle) { dlclose(handle); }
#endif

  struct Policy : PointerPolicy<void> {
    static void release(void* handle) { close(handle); }
  };
  Holder<Policy> handle_;
};

}  // namespace vexa
