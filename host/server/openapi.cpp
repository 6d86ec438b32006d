#include <algorithm>
#include <cctype>

#include "json_value.h"
#include "server/answers.h"
#include "server/routes.h"

// The routes as OpenAPI 3.1 describes them.
namespace vexahost {
namespace {

constexpr char kProblem[] = "#/components/responses/Problem";

std::string lowered(std::string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return result;
}

void addContent(JsonObjectRef& parent, const char* type, const char* schemaType) {
  JsonObjectRef schema = parent.addObject("content").addObject(type).addObject("schema");
  schema.setText("type", schemaType);
}

const char* schemaTypeOf(std::string_view contentType) {
  return contentType == "application/json" ? "object" : "string";
}

void addParameters(JsonObjectRef& operation, const Route& route) {
  if (route.parameters.empty()) {
    return;
  }
  JsonArrayRef parameters = operation.addArray("parameters");
  for (const Parameter& parameter : route.parameters) {
    JsonObjectRef entry = parameters.addObject();
    entry.setText("name", parameter.name);
    entry.setText("in", "query");
    entry.setText("description", parameter.summary);
    entry.setBool("required", parameter.isRequired);
    entry.addObject("schema").setText("type", "string");
  }
}

void addOperation(JsonObjectRef& path, const Route& route, const std::string& method) {
  JsonObjectRef operation = path.addObject(method);
  operation.setText("summary", route.summary);
  addParameters(operation, route);
  if (route.bodyType != nullptr && (method == "post" || method == "put")) {
    JsonObjectRef body = operation.addObject("requestBody");
    addContent(body, route.bodyType, schemaTypeOf(route.bodyType));
  }
  if (route.needsToken) {
    operation.addArray("security").addObject().addArray("token");
  }
  JsonObjectRef responses = operation.addObject("responses");
  JsonObjectRef success = responses.addObject("200");
  success.setText("description", route.summary);
  if (method != "head") {
    addContent(success, route.answerType, schemaTypeOf(route.answerType));
  }
  responses.addObject("default").setText("$ref", kProblem);
}

void addPaths(JsonObjectRef& description) {
  JsonObjectRef paths = description.addObject("paths");
  for (const Route& route : routes()) {
    JsonObjectRef path = paths.addObject(route.path);
    for (unsigned bit = 1; bit <= route.methods; bit <<= 1) {
      const auto method = static_cast<Methods>(route.methods & bit);
      // OPTIONS is taken everywhere and says nothing of its own, but for the route that shows it.
      if (method != 0 && (method != kOptions || route.methods == kAnyMethod)) {
        addOperation(path, route, lowered(methodNames(method)));
      }
    }
  }
}

void addComponents(JsonObjectRef& description) {
  JsonObjectRef components = description.addObject("components");
  JsonObjectRef token = components.addObject("securitySchemes").addObject("token");
  token.setText("type", "http");
  token.setText("scheme", "bearer");
  token.setText("description", "Shown on the terminal when the endpoint starts");
  JsonObjectRef response = components.addObject("responses").addObject("Problem");
  response.setText("description", "An error (RFC 9457)");
  response.addObject("content")
      .addObject("application/problem+json")
      .addObject("schema")
      .setText("$ref", "#/components/schemas/Problem");
  JsonObjectRef problem = components.addObject("schemas").addObject("Problem");
  problem.setText("type", "object");
  JsonObjectRef properties = problem.addObject("properties");
  properties.addObject("title").setText("type", "string");
  properties.addObject("status").setText("type", "integer");
  properties.addObject("detail").setText("type", "string");
}

}  // namespace

Outcome answerDescription(const Call& call) {
  std::string& text = call.endpoint.description;
  if (text.empty()) {
    JsonObjectRef description(call.endpoint.module());
    description.setText("openapi", "3.1.0");
    JsonObjectRef info = description.addObject("info");
    info.setText("title", "vexahost");
    info.setText("version", "1");
    description.addArray("servers").addObject().setText(
        "url", "http://127.0.0.1:" + std::to_string(call.endpoint.port()));
    addPaths(description);
    addComponents(description);
    text = description.text();
  }
  return Reply{.body = text};
}

}  // namespace vexahost
