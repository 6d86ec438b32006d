#pragma once

#include <cstddef>
#include <cstdint>

namespace vexa::base {

// Zeroes a secret; not optimised away when the memory is freed next.
inline void wipe(void* bytes, uint64_t length) {
  auto* cursor = static_cast<volatile uint8_t*>(bytes);
  while (length-- > 0) {
    *cursor++ = 0;
  }
}

}  // namespace vexa::base
