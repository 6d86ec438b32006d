#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "module.h"
#include "server/access.h"
#include "server/access_log.h"
#include "server/budget.h"
#include "server/date.h"
#include "server/event_hub.h"
#include "server/origins.h"
#include "server/token.h"
#include "server/worker.h"

namespace vexahost {

struct ServeOptions {
  uint16_t port = 0;                        // 0: any free port
  std::vector<std::string> allowedOrigins;  // see AllowedOrigins
  uint32_t monitorSeconds = 10;
  std::string log;        // see AccessLog
  std::string readyFile;  // empty: none
};

// What all connections share. One thread, but for module() and worker().
class Endpoint {
 public:
  // Throws HostError.
  Endpoint(asio::io_context& context, const Module& module, const ServeOptions& options,
           uint16_t port);

  const Module& module() const { return module_; }
  uint16_t port() const { return port_; }
  const AccessPolicy& policy() const { return policy_; }
  const Token& token() const { return token_; }
  EventHub& events() { return events_; }
  Worker& worker() { return worker_; }
  Budget& budget() { return budget_; }
  // Of large answers that have not gone yet.
  Budget& answers() { return answers_; }
  AccessLog& log() { return log_; }

  DateClock clock;
  // Texts that stay the same while the program runs, once they were asked for.
  std::string info;
  std::string description;

 private:
  const Module& module_;
  const uint16_t port_;
  AllowedOrigins allowed_;
  AccessPolicy policy_;
  Token token_;
  EventHub events_;
  Worker worker_;
  Budget budget_;
  Budget answers_{2 * Budget::kMost};
  AccessLog log_;
};

}  // namespace vexahost
