#pragma once

#include "server/endpoint.h"

namespace vexahost {

inline constexpr std::string_view kEchoPath = "/v1/echo";

// What the endpoint offers, by path. Unknown paths answer 404, other methods 405.
//   GET  /v1/info                       what the module offers
//   any  /v1/echo                       method, path, parameters, kept headers and body
//   POST /v1/json                       the body's JSON, read and written again
//   GET  /v1/url?u=URL&pattern=PATTERN  what the module makes of a URL
//   GET  /v1/certificates               the user's own certificates
//   GET  /v1/status[?wait=SECONDS]      changes of network and power; waits for the next one
std::optional<Reply> route(Endpoint& endpoint, vexa::IHTTPRequest& request, const Turn& turn);

}  // namespace vexahost
