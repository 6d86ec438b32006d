#pragma once

#include "vexa/runtime/services.h"

namespace vexa::velmora {

// SEC_ASC_1.
extern const runtime::AscTable ascTable;
// SEC_PSE_1.
extern const runtime::PseListTable pseListTable;

}  // namespace vexa::velmora
