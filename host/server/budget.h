#pragma once

#include <cstddef>

namespace vexahost {

// Bytes that all connections together may hold: of unfinished requests, or of answers on their way.
class Budget {
 public:
  static constexpr size_t kMost = 32 * 1024 * 1024;

  explicit Budget(size_t most = kMost) : most_(most) {}

  // False: that would be too many.
  bool take(size_t bytes) {
    if (bytes > most_ - taken_) {
      return false;
    }
    taken_ += bytes;
    return true;
  }
  void give(size_t bytes) { taken_ -= bytes; }

 private:
  const size_t most_;
  size_t taken_ = 0;
};

}  // namespace vexahost
