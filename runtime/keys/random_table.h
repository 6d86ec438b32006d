#pragma once

#include "vexa/runtime/services.h"

namespace vexa::velmora {

// SEC_RANDOM_1.
extern const runtime::RandomTable randomTable;

}  // namespace vexa::velmora
