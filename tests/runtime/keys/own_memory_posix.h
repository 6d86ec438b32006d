#pragma once

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <fstream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace vexa::test {

// The memory of this process as the system shows it.
class SystemView {
 public:
  SystemView() : file_(open("/proc/self/mem", O_RDONLY | O_CLOEXEC)) {}
  SystemView(const SystemView&) = delete;
  SystemView& operator=(const SystemView&) = delete;
  ~SystemView() { close(file_); }

  // What can be written, page by page.
  std::vector<std::pair<uint64_t, uint64_t>> ranges() const {
    std::vector<std::pair<uint64_t, uint64_t>> found;
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
      uint64_t start = 0;
      uint64_t end = 0;
      char dash = 0;
      std::string rights;
      std::istringstream fields(line);
      fields >> std::hex >> start >> dash >> end >> rights;
      if (rights.starts_with("rw-p") && end - start <= kMaxRange) {
        found.emplace_back(start, end);
      }
    }
    return found;
  }

  bool read(uint64_t address, uint8_t* out, size_t length) const {
    return pread(file_, out, length, static_cast<off_t>(address)) == static_cast<ssize_t>(length);
  }

  // Memory that is not among the ranges, since it is shared and there is no other such memory.
  static uint8_t* allocate(size_t length) {
    return static_cast<uint8_t*>(
        mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  }
  static void free(uint8_t* memory, size_t length) { munmap(memory, length); }

 private:
  static constexpr uint64_t kMaxRange = 256 << 20;  // above: the shadow of a sanitizer

  const int file_;
};

}  // namespace vexa::test
