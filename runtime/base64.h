#pragma once

#include <cstdint>

// Base64 (RFC 4648, standard alphabet). *outLength comes in as the capacity and goes out as the
// length written; on failure it stays. Returns kOk, or kFail when the capacity is too small or the
// input is not well-formed.
namespace vexa::velmora {

// Lines of 64 characters, each ended by `lineEnd`, the last one too; nothing for empty input.
int32_t base64Encode(const uint8_t* in, uint64_t inLength, uint8_t* out, uint64_t* outLength,
                     const char* lineEnd);

// Passes over tab, line feed, carriage return and blank. Padding is needed; the bits that it leaves
// unused must be 0, so that every byte sequence has one encoding.
int32_t base64Decode(const uint8_t* in, uint64_t inLength, uint8_t* out, uint64_t* outLength);

}  // namespace vexa::velmora
