#include "server/endpoint.h"

#include <algorithm>
#include <string_view>

#include "json_value.h"
#include "server/routes.h"
#include "values.h"
#include "vexa/url_parser.h"

namespace vexahost {
namespace {

constexpr char kMethods[] = "GET, HEAD, POST, OPTIONS";

// An origin that may be sent back in a header: visible ASCII and nothing else.
bool isPlain(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c < '\x7F'; });
}

Reply preflightReply() {
  Reply reply{.status = 204};
  reply.headers = {{"Access-Control-Allow-Methods", kMethods},
                   {"Access-Control-Allow-Headers", "Content-Type"},
                   {"Access-Control-Allow-Private-Network", "true"},
                   {"Access-Control-Max-Age", "600"}};
  return reply;
}

}  // namespace

Reply errorReply(const Module& module, uint32_t status, std::string_view message) {
  JsonObjectRef object(module);
  object.setText("error", message);
  return {.status = status, .body = object.text()};
}

Endpoint::Endpoint(const Module& module, const ServeOptions& options)
    : module_(module),
      options_(options),
      monitor_(module.create<vexa::IClientMonitor>(vexa::kClientMonitorClassName,
                                                   vexa::IID_IClientMonitor)) {
  check(monitor_->Reset(), "the network monitor");
  check(monitor_->StartChangeThread(options.monitorSeconds), "the network monitor");
}

Endpoint::~Endpoint() { monitor_->StopChangeThread(); }

uint32_t Endpoint::changes() {
  if (monitor_->GetStatus() != vexa::IClientMonitor::kUnchanged) {
    ++changes_;
    monitor_->StopChangeThread();
    check(monitor_->Reset(), "the network monitor");
    check(monitor_->StartChangeThread(options_.monitorSeconds), "the network monitor");
  }
  return changes_;
}

std::optional<Reply> Endpoint::answer(vexa::IHTTPRequest& request, const Turn& turn) {
  std::string origin;
  const Origin verdict = judgeOrigin(request, origin);
  if (verdict == Origin::kRefused) {
    return errorReply(module_, 403, "this origin is not allowed");
  }
  const bool isPreflight = std::string_view(request.getMethod()) == "OPTIONS" &&
                           std::string_view(request.getPath()) != kEchoPath;
  std::optional<Reply> reply = isPreflight ? preflightReply() : route(*this, request, turn);
  if (reply && verdict == Origin::kAllowed) {
    reply->headers.emplace_back("Access-Control-Allow-Origin", origin);
    reply->headers.emplace_back("Vary", "Origin");
  }
  return reply;
}

Endpoint::Origin Endpoint::judgeOrigin(vexa::IHTTPRequest& request, std::string& origin) const {
  const auto header = keptHeader(module_, request, "Origin");
  if (!header) {
    return Origin::kNone;
  }
  origin = *header;
  const auto url =
      module_.create<vexa::IURLParser>(vexa::kUrlParserClassName, vexa::IID_IURLParser);
  // An origin has no path (RFC 6454), and it goes back to the client in a header.
  if (!isPlain(origin) || vexa::failed(url->parse(origin.c_str())) ||
      url->getLength() != static_cast<int64_t>(origin.size())) {
    return Origin::kRefused;
  }
  const bool allowed = std::any_of(
      options_.allowedOrigins.begin(), options_.allowedOrigins.end(),
      [&url](const std::string& pattern) { return url->pattern_match(pattern.c_str()); });
  return allowed || isOwnOrigin(origin) ? Origin::kAllowed : Origin::kRefused;
}

bool Endpoint::isOwnOrigin(const std::string& origin) const {
  const auto url =
      module_.create<vexa::IURLParser>(vexa::kUrlParserClassName, vexa::IID_IURLParser);
  if (vexa::failed(url->parse(origin.c_str()))) {
    return false;
  }
  const std::string port = ":" + std::to_string(port_);
  return url->cmpText(("http://127.0.0.1" + port).c_str()) ||
         url->cmpText(("http://localhost" + port).c_str());
}

std::optional<std::string> queryParameter(const Module& module, vexa::IHTTPRequest& request,
                                          const char* name) {
  Block<char> value(module);
  return vexa::succeeded(request.getQueryParameter(name, value.put()))
             ? std::optional<std::string>(value.get())
             : std::nullopt;
}

std::optional<std::string> keptHeader(const Module& module, vexa::IHTTPRequest& request,
                                      const char* name) {
  Block<char> value(module);
  return vexa::succeeded(request.getHeader(name, value.put()))
             ? std::optional<std::string>(value.get())
             : std::nullopt;
}

}  // namespace vexahost
