#pragma once

#include "vexa/runtime/object.h"
#include "vexa/runtime/table_traits.h"

namespace vexa::runtime {

inline constexpr char kAscName[] = "SEC_ASC_1";

// "SEC_ASC_1"
struct ContextParameters {
  uint32_t version;             // 1
  const char* applicationName;  // "vexa"
  void* reserved3;
  const void* typeOperations;  // entry 2 of SEC_COMMONTYPES_1
  void* reserved5;
};
static_assert(offsetof(ContextParameters, applicationName) == 8);
static_assert(offsetof(ContextParameters, typeOperations) == 24);
static_assert(sizeof(ContextParameters) == 40);

struct AscTable {
  Reserved reserved0;
  int32_t (*CreateContext)(const ContextParameters* parameters, SecurityContext** out);
};
VEXA_OUR_SLOT(AscTable, CreateContext, 1);
template <>
struct TableTraits<AscTable> {
  static constexpr const char* kComponent = nullptr;
  static constexpr const char* kName = kAscName;
};

}  // namespace vexa::runtime
