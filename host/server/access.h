#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "server/framing.h"
#include "server/origins.h"

// Who is let in. Pure: a request's head goes in, a verdict comes out.
namespace vexahost {

class AccessPolicy {
 public:
  AccessPolicy(uint16_t port, const AllowedOrigins& allowed);

  // Nothing: the request may go on. It is refused when it
  //   names another host (a page whose name was turned to this machine would), 421;
  //   comes from an origin that is not allowed, 403;
  //   comes from another site, or another port of this one, and does not say from where, 403.
  std::optional<Refusal> judge(const Head& head) const;

  // Whether a page of this origin may read answers.
  bool isAllowed(std::string_view origin) const;

 private:
  bool isOwnHost(std::string_view host) const;

  const AllowedOrigins& allowed_;
  std::array<std::string, 3> ownHosts_;    // with their port, as Host writes them
  std::array<std::string, 3> ownOrigins_;  // without the port that is usual
};

}  // namespace vexahost
