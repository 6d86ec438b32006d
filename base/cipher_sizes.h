#pragma once

#include <cstdint>

// Slots 12 and 13 of the core list; vexa/core.h has the contracts.
namespace vexa::base {

int32_t GetCipherBlockSize(uint32_t algorithm, uint64_t* out);
int32_t GetCipherKeyBits(uint32_t algorithm, uint64_t* out);

}  // namespace vexa::base
