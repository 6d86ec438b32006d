#pragma once

#include "vexa/runtime/crypt_table.h"

namespace vexa::velmora {

// SEC_CRYPT_1.
extern const runtime::CryptTable cryptTable;

}  // namespace vexa::velmora
