#include "files.h"

#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>

#include "module.h"

namespace vexahost {

std::string readFile(const std::string& path) {
  if (path == "-") {
    return {std::istreambuf_iterator<char>(std::cin), {}};
  }
  std::ifstream file(path, std::ios::binary);
  std::string content(std::istreambuf_iterator<char>(file), {});
  if (!file.is_open() || file.bad()) {
    throw HostError("cannot read " + path);
  }
  return content;
}

void writeFile(const std::string& path, std::string_view content, bool isSecret) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  if (isSecret) {
    // Before the content is there; a platform without permissions has its own protection.
    std::error_code ignored;
    std::filesystem::permissions(
        path, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write, ignored);
  }
  file.write(content.data(), static_cast<std::streamsize>(content.size()));
  file.close();
  if (!file) {
    throw HostError("cannot write " + path);
  }
}

}  // namespace vexahost
