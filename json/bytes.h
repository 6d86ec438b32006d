#pragma once

#include <cstdint>
#include <cstring>

// Eight bytes at a time. A mask has the high bit of each byte that is meant; only its lowest bit is
// to be trusted, since a borrow can mark bytes above a marked one. The lowest byte is the first in
// memory.
namespace vexa::json {

constexpr uint64_t kEachByte = 0x0101010101010101;
constexpr uint64_t kHighBits = 0x8080808080808080;

inline uint64_t loadWord(const char* bytes) {
  uint64_t word;
  std::memcpy(&word, bytes, sizeof(word));
  return word;
}

// Bytes below `limit`, which is at most 0x80.
constexpr uint64_t bytesBelow(uint64_t word, uint8_t limit) {
  return (word - kEachByte * limit) & ~word & kHighBits;
}
constexpr uint64_t bytesEqual(uint64_t word, char c) {
  return bytesBelow(word ^ (kEachByte * static_cast<uint8_t>(c)), 1);
}

}  // namespace vexa::json
