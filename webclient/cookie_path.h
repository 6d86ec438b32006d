#pragma once

#include <cstdint>

namespace vexa::webclient {

// Slot 1 of the network list; vexa/network.h has the contract.
int32_t ConvertCookiePath(const char* cookie, char** out);

}  // namespace vexa::webclient
