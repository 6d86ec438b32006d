#include "server/problem.h"

#include "json_value.h"

namespace vexahost {

Reply problem(const Module& module, uint32_t status, std::string_view detail) {
  JsonObjectRef object(module);
  object.setText("title", reasonPhrase(status));
  object.setInteger("status", status);
  object.setText("detail", detail);
  return {.status = status, .body = object.text(), .contentType = "application/problem+json"};
}

}  // namespace vexahost
