#pragma once

#include "vexa/runtime/object.h"
#include "vexa/runtime/table_traits.h"

namespace vexa::runtime {

inline constexpr char kIoName[] = "SEC_IO_1";

// "SEC_IO_1"
struct IoTable {
  Reserved reserved0to4[5];
  int32_t (*CreateMemoryStream)(Stream** out);
  int32_t (*Write)(Stream* stream, const void* bytes, uint64_t count);
  // A new buffer with everything written so far, one uncounted zero byte behind.
  int32_t (*GetContent)(Stream* stream, ByteBuffer** out);
};
VEXA_FIXED_SLOT(IoTable, CreateMemoryStream, 5);
VEXA_FIXED_SLOT(IoTable, Write, 6);
VEXA_OUR_SLOT(IoTable, GetContent, 7);
template <>
struct TableTraits<IoTable> {
  static constexpr const char* kComponent = nullptr;
  static constexpr const char* kName = kIoName;
};

}  // namespace vexa::runtime
