#include "server/dispatch.h"

#include "server/problem.h"

namespace vexahost {
namespace {

constexpr char kPreflightSeconds[] = "600";

// A page is to read a 404 or 405 itself, so a preflight for a path that is not there passes.
Reply preflight(const Head& head, Methods methods) {
  Reply reply{.status = 204};
  reply.headers.emplace_back("Access-Control-Allow-Methods", methodNames(methods));
  if (head.requestedHeaders) {
    reply.headers.emplace_back("Access-Control-Allow-Headers", *head.requestedHeaders);
  }
  if (head.privateNetwork) {
    reply.headers.emplace_back("Access-Control-Allow-Private-Network", "true");
  }
  reply.headers.emplace_back("Access-Control-Max-Age", kPreflightSeconds);
  return reply;
}

Reply withAllow(Reply reply, Methods methods) {
  reply.headers.emplace_back("Allow", methodNames(methods));
  return reply;
}

}  // namespace

std::variant<const Route*, Reply> dispatch(const Endpoint& endpoint, const Head& head,
                                           vexa::IHTTPRequest& request) {
  const Module& module = endpoint.module();
  const Methods method = methodBit(request.getMethod());
  const std::string_view path = request.getPath();
  const Route* const route = findRoute(path);
  const Methods taken = route != nullptr ? route->methods : kAnyMethod;
  if (method == kOptions && head.origin && head.requestedMethod) {
    return preflight(head, taken);
  }
  if (route == nullptr && path != "*") {
    return problem(module, 404, "there is nothing at this path");
  }
  if (method == kOptions && taken != kAnyMethod) {
    return withAllow({.status = 204}, taken);
  }
  if (route == nullptr) {
    return withAllow({.status = 204}, kAnyMethod);
  }
  if ((taken & method) == 0) {
    return withAllow(problem(module, 405, "this method is not taken here"), taken);
  }
  if (route->needsToken && !endpoint.token().isShownBy(head.authorization.value_or(""))) {
    Reply reply = problem(module, 401, "this needs the token that was shown at the start");
    reply.headers.emplace_back("WWW-Authenticate", "Bearer");
    return reply;
  }
  return route;
}

void addCommonHeaders(Endpoint& endpoint, Reply& reply, const std::string& origin) {
  reply.headers.reserve(reply.headers.size() + 8);
  reply.headers.emplace_back("Date", endpoint.clock.text(std::chrono::system_clock::now()));
  if (reply.status != 204) {
    reply.headers.emplace_back("Content-Type", reply.contentType);
  }
  reply.headers.emplace_back("Cache-Control", "no-store");
  reply.headers.emplace_back("X-Content-Type-Options", "nosniff");
  reply.headers.emplace_back("Cross-Origin-Resource-Policy", "same-origin");
  reply.headers.emplace_back("Vary", "Origin");
  if (!origin.empty()) {
    reply.headers.emplace_back("Access-Control-Allow-Origin", origin);
  }
}

}  // namespace vexahost
