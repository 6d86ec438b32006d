#pragma once

#include "runtime/keys/key.h"

// New keys with both halves.
namespace vexa::velmora {

inline constexpr uint32_t kLeastRsaBits = 1024;
inline constexpr uint32_t kLeastStrongRsaBits = 2048;

// Exponent 65537, and a modulus of exactly so many bits. kInvalidArgument: fewer than 1024 or more
// than 16384, fewer than 2048 without `allowShort`, no multiple of 8 without `allowUneven`, or odd.
int32_t generateRsaKey(uint32_t bits, bool allowShort, bool allowUneven, runtime::KeyObject** out);

// On "P-256", "P-384" or "P-521". kInvalidArgument: another curve.
int32_t generateEcKey(const char* name, runtime::KeyObject** out);

}  // namespace vexa::velmora
