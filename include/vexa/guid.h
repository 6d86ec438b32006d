#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace vexa {

// A 16-byte interface identifier, laid out as Windows lays out a GUID: three little-endian numbers
// and eight bytes. Compared byte by byte.
struct Guid {
  uint32_t data1;
  uint16_t data2;
  uint16_t data3;
  std::array<uint8_t, 8> data4;

  friend constexpr bool operator==(const Guid& a, const Guid& b) {
    bool equal = a.data1 == b.data1 && a.data2 == b.data2 && a.data3 == b.data3;
    for (size_t i = 0; i < a.data4.size(); ++i) {
      equal = equal && a.data4[i] == b.data4[i];
    }
    return equal;
  }
  friend constexpr bool operator!=(const Guid& a, const Guid& b) { return !(a == b); }
};
static_assert(sizeof(Guid) == 16 && alignof(Guid) == 4);

}  // namespace vexa
