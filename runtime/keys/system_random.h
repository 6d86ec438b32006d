#pragma once

#include <cstddef>
#include <cstdint>

namespace vexa::velmora {

// Fills `out` with bytes of the system's generator, which are fit for keys.
bool systemRandom(uint8_t* out, size_t length);

}  // namespace vexa::velmora
