#pragma once

#include "vexa/runtime/pkcs12.h"

namespace vexa::velmora {

// SEC_PKCS12_1.
extern const runtime::Pkcs12Table pkcs12Table;

}  // namespace vexa::velmora
