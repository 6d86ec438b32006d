#pragma once

#include <cstdint>

#include "vexa/module.h"

namespace vexa::base {

// The work of the two exports; vexa/module.h has the contracts.
int32_t moduleInit(const runtime::RootList* root, GetModuleInterfaceFunction* lookup);
int32_t moduleFinal();

}  // namespace vexa::base
