#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

// Eight bytes of text at a time, the first one lowest. Each test leaves the high bit of every byte
// that passes it. Only two things are to be relied on: the lowest mark, since a borrow or carry out
// of a marked byte can mark those above it; and bytes of ASCII, since 8-bit bytes are marked or not
// as it comes. So the caller masks with kHighBits and either marks the 8-bit bytes (| word) or
// unmarks them (& ~word). That makes each test two operations.
namespace vexa::json {

constexpr size_t kWord = sizeof(uint64_t);
constexpr uint64_t kEachByte = 0x0101010101010101;
constexpr uint64_t kHighBits = 0x8080808080808080;

inline uint64_t loadWord(const char* bytes) {
  uint64_t word;
  std::memcpy(&word, bytes, sizeof(word));
  return word;
}

constexpr uint64_t bytesBelow(uint64_t word, uint8_t limit) { return word - kEachByte * limit; }
constexpr uint64_t bytesEqual(uint64_t word, char c) {
  return (word ^ (kEachByte * static_cast<uint8_t>(c))) - kEachByte;
}
constexpr uint64_t bytesDelete(uint64_t word) { return word + kEachByte; }  // 0x7F

// Index of the lowest marked byte; there is one.
inline unsigned firstMarked(uint64_t marks) {
  return static_cast<unsigned>(std::countr_zero(marks)) / 8;
}

}  // namespace vexa::json
