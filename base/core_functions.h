#pragma once

#include <cstdint>

#include "vexa/runtime/records.h"

// Slots 10 to 13 of the core list; vexa/core.h has the contracts.
namespace vexa::base {

int32_t EncodeBase64(const runtime::ByteBuffer* in, runtime::ByteBuffer** out);
int32_t DecodeBase64(const runtime::ByteBuffer* in, runtime::ByteBuffer** out);
int32_t GetCipherBlockSize(uint32_t algorithm, uint64_t* out);
int32_t GetCipherKeyBits(uint32_t algorithm, uint64_t* out);

}  // namespace vexa::base
