#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

// How a block of the root heap lies in memory: a header of 16 bytes, then the bytes handed out.
//
//   | tag (8) | size (7), class (1) | bytes ... slack |        of a size class
//   | capacity (8) | unused (8) | tag | size, class | bytes ... slack |        larger ones
//
// A block of a class has that class's capacity, so that a free one serves every request of the
// class. The tag says who may release the block, and is tied to its address: neither bytes inside a
// block nor the remains of an older one pass for a header.
namespace vexa::velmora {

// Who may release a block. The values tell a live block from anything else.
enum class Origin : uint64_t {
  kNone = 0,
  kRoot = 0x746F6F5261786556,
  kText = 0x7478655461786556,
  kComponentText = 0x706D6F4361786556,
  kFreed = 0x6565724661786556,
};

// --- Size classes: every 16 bytes up to 128, then four to each doubling. ---

inline constexpr uint64_t kStep = 16;
inline constexpr uint32_t kEvenClasses = 8;
inline constexpr uint64_t kLargestEven = kStep * kEvenClasses;
inline constexpr uint32_t kDoublings = 9;
inline constexpr uint32_t kClasses = kEvenClasses + 4 * kDoublings;
inline constexpr uint64_t kLargestOfClass = kLargestEven << kDoublings;
inline constexpr uint32_t kNoClass = 255;

// For sizes from 1 to kLargestOfClass.
constexpr uint32_t classOf(uint64_t size) {
  const uint64_t last = size - 1;
  if (size <= kLargestEven) {
    return static_cast<uint32_t>(last / kStep);
  }
  const auto shift = static_cast<uint32_t>(std::bit_width(last)) - 3;
  const auto quarter = static_cast<uint32_t>(last >> shift) - 4;
  return kEvenClasses + (shift - 5) * 4 + quarter;
}

constexpr uint64_t capacityOfClass(uint32_t sizeClass) {
  if (sizeClass < kEvenClasses) {
    return (sizeClass + 1) * kStep;
  }
  const uint32_t beyond = sizeClass - kEvenClasses;
  return uint64_t{beyond % 4 + 5} << (beyond / 4 + 5);
}
static_assert(classOf(kLargestOfClass) == kClasses - 1);
static_assert(capacityOfClass(kClasses - 1) == kLargestOfClass);

// The same, looked up.
inline constexpr std::array<uint32_t, kClasses> kCapacities = [] {
  std::array<uint32_t, kClasses> capacities{};
  for (uint32_t i = 0; i < kClasses; ++i) {
    capacities[i] = static_cast<uint32_t>(capacityOfClass(i));
  }
  return capacities;
}();

// --- The header ---

struct Header {
  uint64_t tag;
  uint64_t detail;  // size and class; in a list of free blocks the address of the next one

  void mark(Origin origin) { tag = static_cast<uint64_t>(origin) ^ address(); }
  Origin origin() const { return static_cast<Origin>(tag ^ address()); }

  void setSize(uint64_t size, uint32_t sizeClass) {
    detail = size | uint64_t{sizeClass} << kClassShift;
  }
  uint64_t size() const { return detail & ((uint64_t{1} << kClassShift) - 1); }
  uint32_t sizeClass() const { return static_cast<uint32_t>(detail >> kClassShift); }

  void setNext(Header* next) { detail = reinterpret_cast<uint64_t>(next); }
  Header* next() const { return reinterpret_cast<Header*>(detail); }

  uint8_t* bytes() { return reinterpret_cast<uint8_t*>(this + 1); }
  uint64_t capacity() const;

 private:
  static constexpr uint32_t kClassShift = 56;

  uint64_t address() const { return reinterpret_cast<uint64_t>(this); }
};
static_assert(sizeof(Header) == kStep);

// What lies before the bytes of a block without a class.
struct LargeHeader {
  uint64_t capacity;
  uint64_t unused;
  Header header;
};
static_assert(sizeof(LargeHeader) == 2 * sizeof(Header));

inline LargeHeader* largeOf(Header* header) {
  return reinterpret_cast<LargeHeader*>(reinterpret_cast<uint8_t*>(header) -
                                        offsetof(LargeHeader, header));
}

inline uint64_t Header::capacity() const {
  return sizeClass() == kNoClass ? largeOf(const_cast<Header*>(this))->capacity
                                 : kCapacities[sizeClass()];
}

inline Header* headerOf(void* block) { return static_cast<Header*>(block) - 1; }

}  // namespace vexa::velmora
