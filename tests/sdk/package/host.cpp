#include <cstdio>

#include "vexa/host.h"
#include "vexa/json.h"

int main(int, char** argv) {
  const auto module = vexa::Module::load(argv[1]);
  const auto text = vexa::borrow(R"({"port": 8443})");
  vexa::InterfaceHolder<vexa::IJsonObject> object;
  vexa::check(module.list<vexa::JsonApiList>().Parse(&text, object.put()), "parsing");
  int32_t port = 0;
  vexa::check(object->GetInteger("port", &port), "port");
  std::printf("%d\n", port);
}
