#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "module.h"
#include "ref.h"
#include "vexa/client_monitor.h"
#include "vexa/http_request.h"

namespace vexahost {

struct ServeOptions {
  uint16_t port = 0;                        // 0: any free port
  std::vector<std::string> allowedOrigins;  // patterns for IURLParser::pattern_match
  uint32_t monitorSeconds = 10;
};

// What a client is answered.
struct Reply {
  uint32_t status = 200;
  std::string body{};
  std::string contentType = "application/json";
  std::vector<std::pair<std::string, std::string>> headers{};
};

// How far a request has come that is asked more than once.
struct Turn {
  std::chrono::milliseconds waited{0};
  uint32_t changesBefore = 0;  // Endpoint::changes() when the request was complete
};

// {"error": ...} with that status.
Reply errorReply(const Module& module, uint32_t status, std::string_view message);

// The service behind the socket: everything it says is made by the module. One thread.
class Endpoint {
 public:
  Endpoint(const Module& module, const ServeOptions& options);
  Endpoint(const Endpoint&) = delete;
  Endpoint& operator=(const Endpoint&) = delete;
  ~Endpoint();

  // The answer to a complete request, origin rules included. Nothing: ask again later (a long
  // poll).
  std::optional<Reply> answer(vexa::IHTTPRequest& request, const Turn& turn);

  void setPort(uint16_t port) { port_ = port; }
  const Module& module() const { return module_; }
  // Changes of network or power since the start. Looks at the monitor.
  uint32_t changes();

 private:
  enum class Origin { kNone, kAllowed, kRefused };
  Origin judgeOrigin(vexa::IHTTPRequest& request, std::string& origin) const;
  bool isOwnOrigin(const std::string& origin) const;

  const Module& module_;
  const ServeOptions& options_;
  uint16_t port_ = 0;
  Ref<vexa::IClientMonitor> monitor_;
  uint32_t changes_ = 0;
};

// A query parameter or one of the kept headers of a request; nothing when absent.
std::optional<std::string> queryParameter(const Module& module, vexa::IHTTPRequest& request,
                                          const char* name);
std::optional<std::string> keptHeader(const Module& module, vexa::IHTTPRequest& request,
                                      const char* name);

}  // namespace vexahost
