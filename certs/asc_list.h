#pragma once

#include "vexa/core.h"

namespace vexa::certs {

// The list "vexa.misc.base.asc.1".
extern const AscList kAscList;

}  // namespace vexa::certs
