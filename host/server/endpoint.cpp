#include "server/endpoint.h"

#include <stdexcept>

#include "vexa/url_parser.h"

namespace vexahost {
namespace {

AllowedOrigins readOrigins(const Module& module, const std::vector<std::string>& patterns) {
  AllowedOrigins allowed([&module](const std::string& origin, const std::string& pattern) {
    const auto url = module.make<vexa::IURLParser>();
    return vexa::succeeded(url->parse(origin.c_str())) && url->pattern_match(pattern.c_str());
  });
  for (const std::string& pattern : patterns) {
    try {
      allowed.add(pattern);
    } catch (const std::invalid_argument& error) {
      throw HostError("--allow-origin \"" + pattern + "\" can never match: " + error.what(),
                      ExitStatus::kUsage);
    }
  }
  return allowed;
}

}  // namespace

Endpoint::Endpoint(asio::io_context& context, const Module& module, const ServeOptions& options,
                   uint16_t port)
    : module_(module),
      port_(port),
      allowed_(readOrigins(module, options.allowedOrigins)),
      policy_(port, allowed_),
      events_(context, module, options.monitorSeconds),
      log_(options.log) {}

}  // namespace vexahost
