#pragma once

#include "vexa/runtime/common_types.h"

namespace vexa::velmora {

// SEC_COMMONTYPES_1. Assembled when the library is loaded.
extern const runtime::CommonTypes commonTypesTable;

}  // namespace vexa::velmora
