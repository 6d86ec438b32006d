#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

// replay FOLDER: gives each file of the folder to the fuzz target that this is linked with. A
// property that does not hold ends the program; the last name written is that of the input.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
extern "C" __attribute__((weak)) int LLVMFuzzerInitialize(int* count, char*** arguments);

namespace {

std::vector<uint8_t> contentOf(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 2) {
    return 2;
  }
  if (LLVMFuzzerInitialize != nullptr) {
    LLVMFuzzerInitialize(&count, &arguments);
  }
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(arguments[1])) {
    files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  for (const std::filesystem::path& file : files) {
    std::fprintf(stderr, "%s\n", file.filename().c_str());
    // Of the exact size, so that the sanitizer sees one byte too far.
    std::vector<uint8_t> content = contentOf(file);
    content.shrink_to_fit();
    LLVMFuzzerTestOneInput(content.data(), content.size());
  }
  return files.empty() ? 1 : 0;
}
