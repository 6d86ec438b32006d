#include "server/routes.h"

#include <algorithm>
#include <cstdlib>
#include <string>
#include <string_view>

#include "catalog.h"
#include "json_value.h"
#include "own_certificates.h"
#include "vexa/url_parser.h"

namespace vexahost {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kLongestPoll{60'000};

std::optional<Reply> answerInfo(Endpoint& endpoint, vexa::IHTTPRequest&, const Turn&) {
  const Module& module = endpoint.module();
  JsonObjectRef info(module);
  info.setText("module", "vexabase");
  JsonArrayRef lists = info.addArray("lists");
  for (const ListEntry& entry : knownLists()) {
    JsonObjectRef list = lists.addObject();
    list.setText("name", listOwnName(module, entry));
    list.setInteger("slots", static_cast<int64_t>(entry.slots.size()));
  }
  JsonArrayRef classes = info.addArray("classes");
  for (const ClassEntry& entry : knownClasses()) {
    classes.addText(entry.name);
  }
  return Reply{.body = info.text()};
}

// Names of the query's parameters: the request itself is asked for them by name only.
std::vector<std::string> parameterNames(std::string_view uri) {
  std::vector<std::string> names;
  const size_t start = uri.find('?');
  std::string_view query = start == std::string_view::npos ? "" : uri.substr(start + 1);
  while (!query.empty()) {
    const size_t end = std::min(query.find('&'), query.size());
    const std::string_view pair = query.substr(0, end);
    std::string name(pair.substr(0, pair.find('=')));
    if (!name.empty() && std::find(names.begin(), names.end(), name) == names.end()) {
      names.push_back(std::move(name));
    }
    query.remove_prefix(std::min(end + 1, query.size()));
  }
  return names;
}

std::string_view bodyOf(vexa::IHTTPRequest& request) {
  vexa::runtime::ByteBuffer body{};
  return vexa::succeeded(request.getBodyData(&body))
             ? std::string_view(reinterpret_cast<const char*>(body.data), body.length)
             : std::string_view();
}

std::optional<Reply> answerEcho(Endpoint& endpoint, vexa::IHTTPRequest& request, const Turn&) {
  const Module& module = endpoint.module();
  JsonObjectRef echo(module);
  echo.setText("method", request.getMethod());
  echo.setText("path", request.getPath());
  echo.setText("protocol", request.getProtocolVersion());
  JsonObjectRef parameters = echo.addObject("parameters");
  for (const std::string& name : parameterNames(request.getURI())) {
    if (const auto value = queryParameter(module, request, name.c_str())) {
      parameters.setText(name, *value);
    }
  }
  JsonObjectRef headers = echo.addObject("headers");
  for (const char* const name : {"Origin", "Referer"}) {
    if (const auto value = keptHeader(module, request, name)) {
      headers.setText(name, *value);
    }
  }
  const std::string_view body = bodyOf(request);
  echo.setInteger("bodyLength", static_cast<int64_t>(body.size()));
  if (request.hasBody()) {
    echo.setText("body", body);
  }
  return Reply{.body = echo.text()};
}

std::optional<Reply> answerJson(Endpoint& endpoint, vexa::IHTTPRequest& request, const Turn&) {
  const auto object = JsonObjectRef::parse(endpoint.module(), bodyOf(request));
  return object ? Reply{.body = object.text()}
                : errorReply(endpoint.module(), 400, "the body is not a JSON object");
}

std::optional<Reply> answerUrl(Endpoint& endpoint, vexa::IHTTPRequest& request, const Turn&) {
  const Module& module = endpoint.module();
  const auto text = queryParameter(module, request, "u");
  if (!text) {
    return errorReply(module, 400, "the parameter u is missing");
  }
  const auto url = module.create<vexa::IURLParser>(vexa::kUrlParserClassName, vexa::IID_IURLParser);
  JsonObjectRef answer(module);
  answer.setText("url", *text);
  answer.setBool("valid", vexa::succeeded(url->parse(text->c_str())));
  answer.setBool("https", url->isHTTPS());
  answer.setInteger("port", url->getPort());
  answer.setInteger("originLength", url->getLength());
  if (const auto pattern = queryParameter(module, request, "pattern")) {
    answer.setText("pattern", *pattern);
    answer.setBool("match", url->pattern_match(pattern->c_str()));
  }
  return Reply{.body = answer.text()};
}

// A long poll ends with the first change after the number that the client saw last ("since", or
// the number at its first look), or when its time is up.
std::optional<Reply> answerStatus(Endpoint& endpoint, vexa::IHTTPRequest& request,
                                  const Turn& turn) {
  const Module& module = endpoint.module();
  const uint32_t changes = endpoint.changes();
  const auto wait = queryParameter(module, request, "wait");
  const auto since = queryParameter(module, request, "since");
  if (wait) {
    const auto asked = milliseconds(1000LL * std::max(0, std::atoi(wait->c_str())));
    const bool changed = since ? changes != std::strtoul(since->c_str(), nullptr, 10)
                               : changes != turn.changesBefore;
    if (!changed && turn.waited < std::min(asked, kLongestPoll)) {
      return std::nullopt;
    }
  }
  JsonObjectRef answer(module);
  answer.setInteger("changes", changes);
  return Reply{.body = answer.text()};
}

std::optional<Reply> answerCertificates(Endpoint& endpoint, vexa::IHTTPRequest&, const Turn&) {
  JsonObjectRef answer(endpoint.module());
  JsonArrayRef certificates = answer.addArray("certificates");
  for (const OwnCertificate& own : ownCertificates(endpoint.module())) {
    JsonObjectRef certificate = certificates.addObject();
    certificate.setText("subject", own.subject);
    certificate.setText("issuer", own.issuer);
  }
  return Reply{.body = answer.text()};
}

struct Route {
  std::string_view path;
  std::string_view method;  // empty: any
  std::optional<Reply> (*answer)(Endpoint&, vexa::IHTTPRequest&, const Turn&);
};

constexpr Route kRoutes[] = {
    {"/v1/info", "GET", answerInfo},     {kEchoPath, "", answerEcho},
    {"/v1/json", "POST", answerJson},    {"/v1/url", "GET", answerUrl},
    {"/v1/status", "GET", answerStatus}, {"/v1/certificates", "GET", answerCertificates},
};

bool accepts(const Route& route, std::string_view method) {
  return route.method.empty() || method == route.method ||
         (method == "HEAD" && route.method == "GET");
}

}  // namespace

std::optional<Reply> route(Endpoint& endpoint, vexa::IHTTPRequest& request, const Turn& turn) {
  const std::string_view path = request.getPath();
  for (const Route& route : kRoutes) {
    if (route.path != path) {
      continue;
    }
    if (!accepts(route, request.getMethod())) {
      Reply reply = errorReply(endpoint.module(), 405, "this method is not allowed here");
      reply.headers.emplace_back("Allow", std::string(route.method));
      return reply;
    }
    return route.answer(endpoint, request, turn);
  }
  return errorReply(endpoint.module(), 404, "there is nothing at this path");
}

}  // namespace vexahost
