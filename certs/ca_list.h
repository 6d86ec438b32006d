#pragma once

#include "vexa/ca.h"

namespace vexa::certs {

// The list "vexa.misc.base.ca.1".
extern const CaList kCaList;

}  // namespace vexa::certs
