#pragma once

#include "vexa/capi.h"

namespace vexa::certs {

// The list "capi_api".
extern const CapiList kCapiList;

}  // namespace vexa::certs
