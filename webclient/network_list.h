#pragma once

#include "vexa/network.h"

namespace vexa::webclient {

// The list "vexa.misc.base.network.1".
extern const NetworkList kNetworkList;

}  // namespace vexa::webclient
