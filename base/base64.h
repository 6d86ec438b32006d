#pragma once

#include <cstdint>

#include "vexa/runtime/records.h"

// Slots 10 and 11 of the core list; vexa/core.h has the contracts.
namespace vexa::base {

int32_t EncodeBase64(const runtime::ByteBuffer* in, runtime::ByteBuffer** out);
int32_t DecodeBase64(const runtime::ByteBuffer* in, runtime::ByteBuffer** out);

}  // namespace vexa::base
