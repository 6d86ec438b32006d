#pragma once

#include "vexa/runtime/common_types.h"

namespace vexa::velmora {

// SEC_COMMONTYPES_1.
const runtime::CommonTypes& commonTypes();

}  // namespace vexa::velmora
