#pragma once

#include <cstddef>

namespace vexahost {

// Bytes of unfinished requests that all connections together may hold.
class Budget {
 public:
  static constexpr size_t kMost = 32 * 1024 * 1024;

  // False: that would be too many.
  bool take(size_t bytes) {
    if (bytes > kMost - taken_) {
      return false;
    }
    taken_ += bytes;
    return true;
  }
  void give(size_t bytes) { taken_ -= bytes; }

 private:
  size_t taken_ = 0;
};

}  // namespace vexahost
