#include "files.h"
#include "json_value.h"
#include "options.h"

namespace vexahost {
namespace {

// The module writes a line for each value; within texts it escapes their ends.
std::string onOneLine(std::string text) {
  std::erase(text, '\n');
  return text + '\n';
}

void rewrite(Options& options, const std::string& path) {
  const Module module(options.module);
  const JsonObjectRef object = JsonObjectRef::parse(module, readFile(path));
  if (!object) {
    throw HostError(path + ": not a JSON object that the module reads", ExitStatus::kInput);
  }
  options.output.raw(options.output.isJson() ? onOneLine(object.text()) : object.text());
}

}  // namespace

void addJsonCommand(Command app, Options& options) {
  Command command = app.command("json", "Read a JSON object and write it again");
  const auto path = std::make_shared<std::string>();
  command.option("file", *path, "File; - is the standard input").required();
  command.onRun([&options, path] { rewrite(options, *path); });
}

}  // namespace vexahost
