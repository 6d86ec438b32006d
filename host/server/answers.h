#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "server/endpoint.h"
#include "server/reply.h"
#include "vexa/http_request.h"

// What the routes answer. Handlers throw HostError when the module fails.
namespace vexahost {

struct Call {
  Endpoint& endpoint;
  vexa::IHTTPRequest& request;
  uint32_t changesBefore;  // when the request was complete
  bool waitIsOver;         // the handler wished to wait, and its time is up
};
using Handler = Outcome (*)(const Call&);

Outcome answerPage(const Call& call);
Outcome answerInfo(const Call& call);
Outcome answerEcho(const Call& call);
Outcome answerJson(const Call& call);
Outcome answerUrl(const Call& call);
Outcome answerTime(const Call& call);
Outcome answerProxy(const Call& call);
Outcome answerCertificates(const Call& call);
Outcome answerInspect(const Call& call);
Outcome answerStatus(const Call& call);
Outcome answerEvents(const Call& call);
Outcome answerDescription(const Call& call);

// A query parameter; nothing when absent.
std::optional<std::string> queryParameter(const Call& call, const char* name);
std::string_view bodyOf(vexa::IHTTPRequest& request);
// 400: a parameter that must be there is not.
Reply missingParameter(const Call& call, const char* name);

}  // namespace vexahost
