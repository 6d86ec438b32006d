#pragma once

#include "vexa/network.h"

namespace vexa::webclient {

// Slot 2 of the network list; vexa/network.h has the contract.
int32_t GetIEUserSettingProxy(const char16_t* url, runtime::WideStringObject** proxy);

}  // namespace vexa::webclient
