#pragma once

#include "vexa/runtime/services.h"

namespace vexa::velmora {

// SEC_CRYPT_1.
extern const runtime::CryptTable cryptTable;

}  // namespace vexa::velmora
