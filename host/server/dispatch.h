#pragma once

#include <variant>

#include "server/framing.h"
#include "server/routes.h"

namespace vexahost {

// Where a request that was let in goes: to a route, or it is answered here, be it a preflight (the
// Fetch standard's question whether a page may send something), 404, 405 or 401.
std::variant<const Route*, Reply> dispatch(const Endpoint& endpoint, const Head& head,
                                           vexa::IHTTPRequest& request);

// What every answer carries. `origin`: of a page that may read it; empty for none.
void addCommonHeaders(Endpoint& endpoint, Reply& reply, const std::string& origin);

}  // namespace vexahost
