#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace vexa::test {

inline constexpr size_t kPieceLength = 12;
using Piece = std::array<uint8_t, kPieceLength>;

// Pieces of numbers, as bytes and as the limbs that arithmetic works on. They and the memory that
// is searched are kept inverted, so that the search does not find itself.
class Pieces {
 public:
  Pieces() : begins_(1 << 16) {}

  // The pieces from the byte `from` on; numbers may begin with zeros, which are found everywhere.
  void add(const uint8_t* number, uint64_t length, uint64_t from = 8) {
    for (uint64_t at = from; at + kPieceLength <= length; at += kPieceLength) {
      Piece forwards;
      Piece backwards;
      for (size_t i = 0; i < kPieceLength; ++i) {
        const auto inverted = static_cast<uint8_t>(~number[at + i]);
        forwards[i] = inverted;
        backwards[kPieceLength - 1 - i] = inverted;
      }
      add(forwards);
      add(backwards);
    }
  }

  size_t count() const { return pieces_.size(); }

  // How often one stands in these bytes.
  int countInPlain(const uint8_t* bytes, size_t length) const {
    if (length < kPieceLength) {
      return 0;
    }
    std::vector<uint8_t> inverted(bytes, bytes + length);
    for (uint8_t& byte : inverted) {
      byte = static_cast<uint8_t>(~byte);
    }
    return countIn(inverted.data(), length - kPieceLength + 1);
  }

  // How often a piece begins here, in inverted bytes of which `count` can be its first.
  int countIn(const uint8_t* inverted, size_t count) const {
    int found = 0;
    for (const uint8_t* at = inverted; at != inverted + count; ++at) {
      if (begins_[beginOf(at)]) {
        found += static_cast<int>(std::count_if(
            pieces_.begin(), pieces_.end(),
            [at](const Piece& piece) { return std::equal(piece.begin(), piece.end(), at); }));
      }
    }
    return found;
  }

 private:
  static size_t beginOf(const uint8_t* bytes) {
    return static_cast<size_t>(bytes[0] << 8 | bytes[1]);
  }

  void add(const Piece& piece) {
    pieces_.push_back(piece);
    begins_[beginOf(piece.data())] = 1;
  }

  std::vector<Piece> pieces_;
  std::vector<uint8_t> begins_;  // by the first two bytes: whether a piece begins so
};

}  // namespace vexa::test
