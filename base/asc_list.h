#pragma once

#include "vexa/core.h"

namespace vexa::base {

// The list "vexa.misc.base.asc.1".
extern const AscList kAscList;

}  // namespace vexa::base
