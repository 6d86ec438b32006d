#pragma once

#include "vexa/runtime/records.h"
#include "vexa/runtime/table_traits.h"

namespace vexa::runtime {

inline constexpr char kEncodeName[] = "SEC_ENCODE_1";

// "SEC_ENCODE_1"
struct EncodeTable {
  Reserved reserved0to2[3];
  // Base64 (RFC 4648) in lines of 64 characters, each ended by `lineEnd`. *outLength comes in as
  // the capacity and goes out as the length written; untouched on failure. No terminating zero.
  int32_t (*Base64Encode)(const uint8_t* in, uint64_t inLength, uint8_t* out, uint64_t* outLength,
                          uint64_t, uint64_t, const char* lineEnd);
  int32_t (*Base64Decode)(const uint8_t* in, uint64_t inLength, uint8_t* out, uint64_t* outLength,
                          uint64_t, uint64_t);
  // copy 0: the value borrows the bytes; else it gets a root block of its own.
  int32_t (*SetBlob)(ByteBuffer* value, const uint8_t* bytes, uint32_t length, uint32_t copy);
};
VEXA_FIXED_SLOT(EncodeTable, Base64Encode, 3);
VEXA_FIXED_SLOT(EncodeTable, Base64Decode, 4);
VEXA_OUR_SLOT(EncodeTable, SetBlob, 5);
template <>
struct TableTraits<EncodeTable> {
  static constexpr const char* kComponent = nullptr;
  static constexpr const char* kName = kEncodeName;
};

}  // namespace vexa::runtime
