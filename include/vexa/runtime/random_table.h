#pragma once

#include "vexa/runtime/slots.h"
#include "vexa/runtime/table_traits.h"

namespace vexa::runtime {

inline constexpr char kRandomName[] = "SEC_RANDOM_1";

// "SEC_RANDOM_1"
struct RandomTable {
  Reserved reserved0;
  int32_t (*GetBytes)(uint32_t kind, uint64_t length, uint64_t, uint8_t* out);  // kind 2
};
VEXA_FIXED_SLOT(RandomTable, GetBytes, 1);
template <>
struct TableTraits<RandomTable> {
  static constexpr const char* kComponent = nullptr;
  static constexpr const char* kName = kRandomName;
};

}  // namespace vexa::runtime
