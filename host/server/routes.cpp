#include "server/routes.h"

#include <algorithm>

namespace vexahost {
namespace {

constexpr char kJsonType[] = "application/json";
constexpr char kAnyType[] = "*/*";

constexpr Parameter kUrlParameters[] = {
    {"u", true, "The URL"},
    {"pattern", false, "A pattern such as https://*.example.com that may cover it"},
};
constexpr Parameter kTimeParameters[] = {
    {"value", true, "An unsigned number of 64 bits, or now"},
    {"from", false, "The format of the value; filetime when absent"},
    {"to", false, "The format of the result; unix when absent"},
};
constexpr Parameter kProxyParameters[] = {{"url", true, "The URL that is to be reached"}};
constexpr Parameter kStatusParameters[] = {
    {"wait", false, "Seconds to wait for the next change, 60 at most"},
    {"since", false, "The number of changes that the client knows of"},
};

constexpr Route kRoutes[] = {
    {"/",
     kRead,
     false,
     false,
     "The console, a page for people",
     {},
     nullptr,
     "text/html",
     answerPage},
    {"/v1/info",
     kRead,
     false,
     false,
     "Lists and classes that the module offers",
     {},
     nullptr,
     kJsonType,
     answerInfo},
    {"/v1/echo",
     kAnyMethod,
     false,
     false,
     "The request as the module understood it",
     {},
     kAnyType,
     kJsonType,
     answerEcho},
    {"/v1/json",
     kSend,
     false,
     false,
     "The JSON object of the body, read and written again",
     {},
     kJsonType,
     kJsonType,
     answerJson},
    {"/v1/url", kRead, false, false, "What a URL is made of, whether a pattern covers it",
     kUrlParameters, nullptr, kJsonType, answerUrl},
    {"/v1/time", kRead, false, false, "A time in another format", kTimeParameters, nullptr,
     kJsonType, answerTime},
    {"/v1/proxy", kRead, true, true, "Which proxy leads to a URL, and why", kProxyParameters,
     nullptr, kJsonType, answerProxy},
    {"/v1/certificates",
     kRead,
     true,
     false,
     "The user's own certificates and their uses",
     {},
     nullptr,
     kJsonType,
     answerCertificates},
    {"/v1/certificates/inspect",
     kSend,
     false,
     false,
     "The uses of certificates, PEM or DER",
     {},
     kAnyType,
     kJsonType,
     answerInspect},
    {"/v1/status", kRead, false, false, "Network changes so far, or the next one",
     kStatusParameters, nullptr, kJsonType, answerStatus},
    {"/v1/events",
     kRead,
     false,
     false,
     "The same as server-sent events",
     {},
     nullptr,
     "text/event-stream",
     answerEvents},
    {"/v1/openapi.json",
     kRead,
     false,
     false,
     "This description",
     {},
     nullptr,
     kJsonType,
     answerDescription},
};

struct MethodName {
  Method bit;
  std::string_view name;
};
constexpr MethodName kMethodNames[] = {
    {kGet, "GET"},       {kHead, "HEAD"},   {kPost, "POST"},       {kPut, "PUT"},
    {kDelete, "DELETE"}, {kTrace, "TRACE"}, {kOptions, "OPTIONS"},
};

}  // namespace

std::span<const Route> routes() { return kRoutes; }

const Route* findRoute(std::string_view path) {
  const auto* const found = std::find_if(std::begin(kRoutes), std::end(kRoutes),
                                         [path](const Route& route) { return path == route.path; });
  return found != std::end(kRoutes) ? found : nullptr;
}

Methods methodBit(std::string_view name) {
  for (const MethodName& method : kMethodNames) {
    if (method.name == name) {
      return method.bit;
    }
  }
  return 0;
}

std::string methodNames(Methods methods) {
  std::string names;
  for (const MethodName& method : kMethodNames) {
    if ((methods & method.bit) != 0) {
      names += names.empty() ? "" : ", ";
      names += method.name;
    }
  }
  return names;
}

std::string routeHelp() {
  constexpr size_t kWidth = 28;
  std::string text = "What it answers (docs/endpoint.md):\n";
  for (const Route& route : kRoutes) {
    std::string path = std::string("  ") + route.path;
    path.resize(std::max(kWidth, path.size() + 1), ' ');
    text += path + route.summary + (route.needsToken ? " (token)" : "") + "\n";
  }
  return text;
}

}  // namespace vexahost
