#pragma once

#include <filesystem>
#include <string>

// Shared libraries, the one thing about the platform that the host needs to know.
namespace vexahost {

// Owns one reference to a loaded library.
class Library {
 public:
  Library() = default;
  explicit Library(void* handle) : handle_(handle) {}
  Library(Library&& other) noexcept;
  Library& operator=(Library&& other) noexcept;
  ~Library();

  // Empty when the file cannot be loaded; lastError() says why.
  static Library load(const std::filesystem::path& file);
  // One more reference to a library that is loaded already; empty when it is not.
  static Library loaded(const char* fileName);
  static std::string lastError();

  explicit operator bool() const { return handle_ != nullptr; }
  template <class Function>
  Function find(const char* name) const {
    return reinterpret_cast<Function>(findSymbol(name));
  }

 private:
  void* findSymbol(const char* name) const;

  void* handle_ = nullptr;
};

// The folder of the running program.
std::filesystem::path programFolder();

extern const char* const kModuleFile;   // vexabase
extern const char* const kRuntimeFile;  // velmora

}  // namespace vexahost
