#pragma once

#include <array>
#include <cstdint>
#include <cstring>

namespace vexa {

// A 16-byte interface identifier, laid out as Windows lays out a GUID: three little-endian numbers
// and eight bytes. Compared byte by byte.
struct Guid {
  uint32_t data1;
  uint16_t data2;
  uint16_t data3;
  std::array<uint8_t, 8> data4;

  friend constexpr bool operator==(const Guid&, const Guid&) = default;
};
static_assert(sizeof(Guid) == 16 && alignof(Guid) == 4);

}  // namespace vexa
