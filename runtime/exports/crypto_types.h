#pragma once

#include "vexa/runtime/common_types.h"

namespace vexa::velmora {

// Fills slots 13 to 26 of SEC_COMMONTYPES_1: names, certificates, object identifiers and keys.
void addCryptoTypes(runtime::CommonTypes& types);

}  // namespace vexa::velmora
