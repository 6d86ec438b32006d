#pragma once

#include "vexa/runtime/random_table.h"

namespace vexa::velmora {

// SEC_RANDOM_1.
extern const runtime::RandomTable randomTable;

}  // namespace vexa::velmora
