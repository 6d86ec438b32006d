#pragma once

#include "vexa/runtime/asc_table.h"
#include "vexa/runtime/pse_table.h"

namespace vexa::velmora {

// SEC_ASC_1.
extern const runtime::AscTable ascTable;
// SEC_PSE_1.
extern const runtime::PseListTable pseListTable;

}  // namespace vexa::velmora
