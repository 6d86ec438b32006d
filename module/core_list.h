#pragma once

#include "vexa/core.h"

namespace vexa::module {

// The list "vexa.misc.base.core.1": functions of several folders in one table.
extern const CoreList kCoreList;

}  // namespace vexa::module
