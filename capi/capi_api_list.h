#pragma once

#include "vexa/capi.h"

namespace vexa::capi {

// The list "capi_api".
extern const CapiList kCapiList;

}  // namespace vexa::capi
