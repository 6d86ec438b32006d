#include "server/access.h"

#include <algorithm>

namespace vexahost {
namespace {

constexpr std::array<std::string_view, 3> kNames = {"127.0.0.1", "localhost", "[::1]"};
constexpr uint16_t kUsualPort = 80;

}  // namespace

AccessPolicy::AccessPolicy(uint16_t port, const AllowedOrigins& allowed) : allowed_(allowed) {
  // Clients leave the usual port out.
  const std::string suffix = port == kUsualPort ? "" : ":" + std::to_string(port);
  for (size_t i = 0; i < kNames.size(); ++i) {
    ownHosts_[i] = std::string(kNames[i]) + suffix;
    ownOrigins_[i] = "http://" + ownHosts_[i];
  }
}

std::optional<Refusal> AccessPolicy::judge(const Head& head) const {
  if ((head.host && !isOwnHost(*head.host)) || (head.targetHost && !isOwnHost(*head.targetHost))) {
    return Refusal{421, "this endpoint is 127.0.0.1, localhost or [::1], with its port"};
  }
  if (head.origin) {
    return isAllowed(*head.origin) ? std::nullopt
                                   : std::optional(Refusal{403, "this origin is not allowed"});
  }
  const bool isOwnOrNoPage =
      !head.fetchSite || *head.fetchSite == "same-origin" || *head.fetchSite == "none";
  return isOwnOrNoPage
             ? std::nullopt
             : std::optional(Refusal{403, "requests from other sites must name their origin"});
}

bool AccessPolicy::isAllowed(std::string_view origin) const {
  return std::find(ownOrigins_.begin(), ownOrigins_.end(), origin) != ownOrigins_.end() ||
         allowed_.covers(origin);
}

bool AccessPolicy::isOwnHost(std::string_view host) const {
  return std::any_of(ownHosts_.begin(), ownHosts_.end(),
                     [host](const std::string& own) { return equalIgnoringCase(own, host); });
}

}  // namespace vexahost
