#pragma once

#include <cstdint>

#include "base/holders.h"
#include "vexa/results.h"

// Byte buffers that cross the border: a record and its data, both from the root list, released with
// SEC_COMMONTYPES_1's BufferRelease.
namespace vexa::base {

// Slots 4 to 7 of the core list; vexa/core.h has the contracts.
void TerminateBuffer(runtime::ByteBuffer* buffer);
int32_t AllocBuffer(uint64_t size, runtime::ByteBuffer** out);
int32_t BufferFromBytes(const void* data, uint64_t length, runtime::ByteBuffer** out);
int32_t BufferFromRange(const void* start, const void* end, runtime::ByteBuffer** out);

// An order of contents: by length, then by bytes. 0: equal.
int compareBytes(const runtime::ByteBuffer& a, const runtime::ByteBuffer& b);

// Gives *out, made when it is null, a new block of `size` bytes, at least one. `old` takes over the
// block that it held, which may be an input's. kOutOfMemory: *out is as it was.
[[nodiscard]] int32_t renewData(runtime::ByteBuffer** out, uint64_t size, RootBlock<uint8_t>& old);

}  // namespace vexa::base
