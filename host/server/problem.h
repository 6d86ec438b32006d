#pragma once

#include <string_view>

#include "module.h"
#include "server/reply.h"

namespace vexahost {

// An error as RFC 9457 writes it: title, status and detail.
Reply problem(const Module& module, uint32_t status, std::string_view detail);

}  // namespace vexahost
