#pragma once

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "runtime/keys/secret_pieces.h"

namespace vexa::test {

inline constexpr size_t kPageLength = 4096;

// What the system shows of the memory of this process. The window that moves over it lies in shared
// memory, of which there is no other and which is not searched.
class OwnMemory {
 public:
  OwnMemory()
      : file_(open("/proc/self/mem", O_RDONLY | O_CLOEXEC)),
        window_(static_cast<uint8_t*>(mmap(nullptr, kWindowLength, PROT_READ | PROT_WRITE,
                                           MAP_SHARED | MAP_ANONYMOUS, -1, 0))) {}
  OwnMemory(const OwnMemory&) = delete;
  OwnMemory& operator=(const OwnMemory&) = delete;
  ~OwnMemory() {
    munmap(window_, kWindowLength);
    close(file_);
  }

  // How often the pieces stand in what can be written.
  int count(const Pieces& pieces) {
    int found = 0;
    for (const auto& [start, end] : writableRanges()) {
      std::fill_n(window_, kOverlap, uint8_t{0});
      for (uint64_t at = start; at != end && readPage(at); at += kPageLength) {
        found += isZero_ ? 0 : pieces.countIn(window_, kPageLength);
      }
    }
    return found;
  }

 private:
  static constexpr size_t kOverlap = kPieceLength - 1;
  static constexpr size_t kWindowLength = kOverlap + kPageLength;
  static constexpr uint64_t kMaxRange = 256 << 20;  // above: the shadow of a sanitizer

  static std::vector<std::pair<uint64_t, uint64_t>> writableRanges() {
    std::vector<std::pair<uint64_t, uint64_t>> ranges;
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
      uint64_t start = 0;
      uint64_t end = 0;
      char dash = 0;
      std::string rights;
      std::istringstream fields(line);
      fields >> std::hex >> start >> dash >> end >> rights;
      if (rights.starts_with("rw-p") && end - start <= kMaxRange) {
        ranges.emplace_back(start, end);
      }
    }
    return ranges;
  }

  // Moves the window on to the page at this address. No secret lies in a page of zeros.
  bool readPage(uint64_t address) {
    static constexpr std::array<uint8_t, kPageLength> kZeros{};
    std::copy_n(window_ + kPageLength, kOverlap, window_);
    uint8_t* const page = window_ + kOverlap;
    if (pread(file_, page, kPageLength, static_cast<off_t>(address)) !=
        static_cast<ssize_t>(kPageLength)) {
      return false;
    }
    isZero_ = std::memcmp(page, kZeros.data(), kPageLength) == 0;
    for (size_t i = 0; i < kPageLength; ++i) {
      page[i] = static_cast<uint8_t>(~page[i]);
    }
    return true;
  }

  const int file_;
  uint8_t* const window_;  // inverted: the end of the last page, and a page
  bool isZero_ = false;
};

inline int countInMemory(const Pieces& pieces) { return OwnMemory().count(pieces); }

}  // namespace vexa::test
