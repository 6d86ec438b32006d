#include "files.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <system_error>

#include "cli/console.h"
#include "cli/exit_status.h"
#include "secret.h"

#ifdef _WIN32
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#endif

namespace vexahost {
namespace {

// What the system says about the call that just failed.
std::string reason() {
  return errno != 0 ? std::generic_category().message(errno) : "the system does not say why";
}

[[noreturn]] void failInput(const std::string& path, const std::string& why) {
  throw HostError(path + ": cannot be read: " + why, ExitStatus::kInput);
}

[[noreturn]] void failOutput(const std::string& path) {
  throw HostError(path + ": cannot be written: " + reason(), ExitStatus::kOutput);
}

// Up to the end, or to where reading fails.
std::string readAll(std::istream& stream) {
  std::string content;
  size_t length = 0;
  while (stream) {
    if (length == content.size()) {
      growSecret(content, std::max<size_t>(BUFSIZ, 2 * length));
      content.resize(content.capacity());
    }
    stream.read(content.data() + length, static_cast<std::streamsize>(content.size() - length));
    length += static_cast<size_t>(stream.gcount());
  }
  content.resize(length);
  return content;
}

}  // namespace

std::string readFile(const std::string& path) {
  if (path == "-") {
    return readAll(std::cin);
  }
  const std::filesystem::path name = pathOf(path);
  std::error_code ignored;
  if (std::filesystem::is_directory(name, ignored)) {
    failInput(path, "it is a folder");
  }
  errno = 0;
  std::ifstream file;
  file.rdbuf()->pubsetbuf(nullptr, 0);  // a buffer would keep what may be a secret
  file.open(name, std::ios::binary);
  if (!file.is_open()) {
    failInput(path, reason());
  }
  std::string content = readAll(file);
  if (file.bad()) {
    failInput(path, reason());
  }
  return content;
}

void writeFile(const std::string& path, std::string_view content, bool isSecret) {
  const std::filesystem::path name = pathOf(path);
  errno = 0;
  std::ofstream file(name, std::ios::binary | std::ios::trunc);
  if (!file.is_open()) {
    failOutput(path);
  }
  if (isSecret) {
    // Before the content is there; a platform without permissions has its own protection.
    std::error_code ignored;
    std::filesystem::permissions(
        name, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write, ignored);
  }
  file.write(content.data(), static_cast<std::streamsize>(content.size()));
  file.close();
  if (!file) {
    failOutput(path);
  }
}

std::filesystem::path programFolder() {
#ifdef _WIN32
  constexpr size_t kLongestPath = 32768;
  std::wstring file(kLongestPath, L'\0');
  file.resize(GetModuleFileNameW(nullptr, file.data(), static_cast<DWORD>(file.size())));
  return std::filesystem::path(file).parent_path();
#else
  return std::filesystem::read_symlink("/proc/self/exe").parent_path();
#endif
}

}  // namespace vexahost
