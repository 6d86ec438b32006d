// A complete small host in C++17: it loads the module and uses one function list and two objects.
//
//   host_cpp FOLDER             the module in FOLDER, which loads velmora by itself
//   host_cpp FOLDER RUNTIME     the host loads velmora from RUNTIME and hands over its root list
#include <cstdio>

#include "vexa/host.h"
#include "vexa/json.h"
#include "vexa/time.h"
#include "vexa/url_parser.h"

namespace {

void showTime(const vexa::Module& module) {
  const auto& times = module.list<vexa::TimeList>();
  const uint64_t ticks =
      times.ConvertTime(1, vexa::kUnixSecondsFormat, vexa::kFileTimeFormat);  // 1970-01-01 00:00:01
  std::printf("file time: %llu\n", static_cast<unsigned long long>(ticks));
}

void showUrl(const vexa::Module& module) {
  static constexpr char kText[] = "https://api.example.com:8443/x";  // outlives the parser
  const auto url = module.make<vexa::IURLParser>();
  vexa::check(url->parse(kText), "parsing the URL");
  std::printf("origin: %.*s\n", static_cast<int>(url->getLength()), kText);
  std::printf("covered: %d\n", url->pattern_match("https://*.example.com:8443"));
}

void showJson(const vexa::Module& module) {
  vexa::InterfaceHolder<vexa::IJsonObject> object;
  vexa::check(module.list<vexa::JsonApiList>().CreateObject(object.put()), "making an object");
  vexa::check(object->SetString("greeting", "hello"), "setting a member");
  vexa::BufferHolder text(module.tables());
  vexa::check(object->ToText(text.put()), "writing the object");
  std::fwrite(text->data, 1, text->length, stdout);
}

void show(const vexa::Module& module) {
  showTime(module);
  showUrl(module);
  showJson(module);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2 && argc != 3) {
    std::fprintf(stderr, "usage: host_cpp FOLDER [RUNTIME]\n");
    return 2;
  }
  try {
    if (argc == 3) {
      const auto runtime = vexa::Runtime::load(argv[2]);
      vexa::LoadOptions options;
      options.root = &runtime.root();
      options.hostName = "example";
      show(vexa::Module::load(argv[1], options));
    } else {
      show(vexa::Module::load(argv[1]));
    }
  } catch (const vexa::Error& error) {
    std::fprintf(stderr, "host_cpp: %s\n", error.what());
    return 1;
  }
  return 0;
}
