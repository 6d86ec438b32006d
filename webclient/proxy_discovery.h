#pragma once

#include "vexa/network.h"

namespace vexa::webclient {

// The list "vexa.misc.base.network.1".
extern const NetworkList kNetworkList;

// Slots 1 and 2; vexa/network.h has the contracts.
int32_t ConvertCookiePath(const char* cookie, char** out);
int32_t GetIEUserSettingProxy(const char16_t* url, runtime::WideStringObject** proxy);

}  // namespace vexa::webclient
