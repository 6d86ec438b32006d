#pragma once

#include <filesystem>
#include <string>
#include <utility>

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
  SharedLibrary() = default;
  SharedLibrary(SharedLibrary&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
  SharedLibrary& operator=(SharedLibrary&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
  }
  ~SharedLibrary() {
    if (handle_ != nullptr) {
      close(handle_);
    }
  }

  // Empty when the file cannot be loaded; lastError() says why.
  static SharedLibrary load(const std::filesystem::path& file) {
    SharedLibrary library;
    library.handle_ = open(file);
    return library;
  }
  // One more reference to a library that is loaded already; empty when it is not.
  static SharedLibrary loaded(const char* fileName) {
    SharedLibrary library;
    library.handle_ = openLoaded(fileName);
    return library;
  }

  explicit operator bool() const { return handle_ != nullptr; }
  // An exported function, or null.
  template <class Function>
  Function find(const char* name) const {
    return handle_ != nullptr ? reinterpret_cast<Function>(symbol(handle_, name)) : nullptr;
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

  void* handle_ = nullptr;
};

}  // namespace vexa
