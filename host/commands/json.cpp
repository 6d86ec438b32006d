#include <cstdio>

#include "files.h"
#include "json_value.h"
#include "options.h"

namespace vexahost {
namespace {

void rewrite(const Options& options, const std::string& path) {
  const Module module(options.module);
  const JsonObjectRef object = JsonObjectRef::parse(module, readFile(path));
  if (!object) {
    throw HostError(path + " is not a JSON object");
  }
  const std::string text = object.text();
  std::fwrite(text.data(), 1, text.size(), stdout);
}

}  // namespace

void addJsonCommand(CLI::App& app, Options& options) {
  CLI::App* const command = app.add_subcommand("json", "Read a JSON object and write it again");
  const auto path = std::make_shared<std::string>();
  command->add_option("file", *path, "File; - is the standard input")->required();
  command->callback([&options, path] { rewrite(options, *path); });
}

}  // namespace vexahost
