#include <algorithm>
#include <set>
#include <vector>

#include "catalog.h"
#include "cli/utf8.h"
#include "json_value.h"
#include "server/answers.h"
#include "server/problem.h"
#include "texts.h"
#include "vexa/url_parser.h"

// What the module offers, and what it makes of requests, JSON and URLs.
namespace vexahost {
namespace {

std::string infoText(const Module& module) {
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
  return info.text();
}

// More would cost what their pairs do: a JSON object looks for each key among all it has.
constexpr size_t kMostEchoed = 1000;

// Names of the query's parameters: the request itself is asked for them by name only.
std::vector<std::string> parameterNames(std::string_view uri) {
  std::vector<std::string> names;
  std::set<std::string_view> known;
  const size_t start = uri.find('?');
  std::string_view query = start == std::string_view::npos ? "" : uri.substr(start + 1);
  while (!query.empty()) {
    const size_t end = std::min(query.find('&'), query.size());
    const std::string_view pair = query.substr(0, end);
    const std::string_view name = pair.substr(0, pair.find('='));
    if (!name.empty() && known.insert(name).second) {
      names.emplace_back(name);
    }
    query.remove_prefix(std::min(end + 1, query.size()));
  }
  return names;
}

std::optional<std::string> keptHeader(const Call& call, const char* name) {
  vexa::BlockHolder<char> value(call.endpoint.module().tables());
  return vexa::succeeded(call.request.getHeader(name, value.put()))
             ? std::optional<std::string>(value.get())
             : std::nullopt;
}

}  // namespace

std::optional<std::string> queryParameter(const Call& call, const char* name) {
  vexa::BlockHolder<char> value(call.endpoint.module().tables());
  return vexa::succeeded(call.request.getQueryParameter(name, value.put()))
             ? std::optional<std::string>(value.get())
             : std::nullopt;
}

std::string_view bodyOf(vexa::IHTTPRequest& request) {
  vexa::runtime::ByteBuffer body{};
  return vexa::succeeded(request.getBodyData(&body))
             ? std::string_view(reinterpret_cast<const char*>(body.data), body.length)
             : std::string_view();
}

Reply missingParameter(const Call& call, const char* name) {
  return problem(call.endpoint.module(), 400, "the parameter " + std::string(name) + " is missing");
}

Outcome answerInfo(const Call& call) {
  std::string& text = call.endpoint.info;
  if (text.empty()) {
    text = infoText(call.endpoint.module());
  }
  return Reply{.body = text};
}

Outcome answerEcho(const Call& call) {
  const std::vector<std::string> names = parameterNames(call.request.getURI());
  if (names.size() > kMostEchoed) {
    return problem(call.endpoint.module(), 400, "there are more than 1000 parameters");
  }
  JsonObjectRef echo(call.endpoint.module());
  echo.setText("method", call.request.getMethod());
  echo.setText("path", call.request.getPath());
  echo.setText("protocol", call.request.getProtocolVersion());
  JsonObjectRef parameters = echo.addObject("parameters");
  for (const std::string& name : names) {
    if (const auto value = queryParameter(call, name.c_str())) {
      parameters.setText(validUtf8(name), *value);
    }
  }
  JsonObjectRef headers = echo.addObject("headers");
  for (const char* const name : {"Origin", "Referer"}) {
    if (const auto value = keptHeader(call, name)) {
      headers.setText(name, *value);
    }
  }
  const std::string_view body = bodyOf(call.request);
  echo.setInteger("bodyLength", static_cast<int64_t>(body.size()));
  if (call.request.hasBody()) {
    echo.setText("body", body);
  }
  return Reply{.body = echo.text()};
}

Outcome answerJson(const Call& call) {
  const Module& module = call.endpoint.module();
  const auto object = JsonObjectRef::parse(module, bodyOf(call.request));
  return object ? Reply{.body = object.text()}
                : problem(module, 400, "the body is not a JSON object");
}

Outcome answerUrl(const Call& call) {
  const Module& module = call.endpoint.module();
  const auto text = queryParameter(call, "u");
  if (!text) {
    return missingParameter(call, "u");
  }
  const auto url = module.make<vexa::IURLParser>();
  JsonObjectRef answer(module);
  answer.setText("url", *text);
  answer.setBool("valid", vexa::succeeded(url->parse(text->c_str())));
  answer.setBool("https", url->isHTTPS());
  answer.setInteger("port", url->getPort());
  answer.setInteger("originLength", url->getLength());
  if (const auto pattern = queryParameter(call, "pattern")) {
    answer.setText("pattern", *pattern);
    answer.setBool("match", url->pattern_match(pattern->c_str()));
  }
  return Reply{.body = answer.text()};
}

}  // namespace vexahost
