#pragma once

#include <algorithm>
#include <array>
#include <cstring>

#include "runtime/keys/secret_pieces.h"
#if defined(_WIN32)
#include "runtime/keys/own_memory_windows.h"
#else
#include "runtime/keys/own_memory_posix.h"
#endif

namespace vexa::test {

inline constexpr size_t kPageLength = 4096;

// The memory of this process, searched through a window that moves over it.
class OwnMemory {
 public:
  OwnMemory() : window_(SystemView::allocate(kWindowLength)) {}
  OwnMemory(const OwnMemory&) = delete;
  OwnMemory& operator=(const OwnMemory&) = delete;
  ~OwnMemory() { SystemView::free(window_, kWindowLength); }

  // How often the pieces stand in what can be written.
  int count(const Pieces& pieces) {
    int found = 0;
    for (const auto& [start, end] : view_.ranges()) {
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

  // Moves the window on to the page at this address. No secret lies in a page of zeros.
  bool readPage(uint64_t address) {
    static constexpr std::array<uint8_t, kPageLength> kZeros{};
    std::copy_n(window_ + kPageLength, kOverlap, window_);
    uint8_t* const page = window_ + kOverlap;
    if (!view_.read(address, page, kPageLength)) {
      return false;
    }
    isZero_ = std::memcmp(page, kZeros.data(), kPageLength) == 0;
    for (size_t i = 0; i < kPageLength; ++i) {
      page[i] = static_cast<uint8_t>(~page[i]);
    }
    return true;
  }

  const SystemView view_{};
  uint8_t* const window_;  // inverted: the end of the last page, and a page
  bool isZero_ = false;
};

inline int countInMemory(const Pieces& pieces) { return OwnMemory().count(pieces); }

}  // namespace vexa::test
