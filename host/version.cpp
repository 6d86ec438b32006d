#include "version.h"

#include <CLI/Version.hpp>
#include <asio/version.hpp>

#include "cli/console.h"
#include "options.h"

namespace vexahost {
namespace {

std::string asioVersion() {
  return std::to_string(ASIO_VERSION / 100000) + "." + std::to_string(ASIO_VERSION / 100 % 1000) +
         "." + std::to_string(ASIO_VERSION % 100);
}

std::string jsonVersion() {
  return std::to_string(NLOHMANN_JSON_VERSION_MAJOR) + "." +
         std::to_string(NLOHMANN_JSON_VERSION_MINOR) + "." +
         std::to_string(NLOHMANN_JSON_VERSION_PATCH);
}

}  // namespace

void printVersions(Options& options) {
  const Module module(options.module);
  auto* const version = module.runtimeFunction<decltype(velmora_version)>("velmora_version");
  const Json data = {
      {"vexahost", kVersion},
      {"module", textOf(module.file())},
      {"runtime", version != nullptr ? version() : "unknown"},
      {"libraries", {{"Asio", asioVersion()}, {"CLI11", CLI11_VERSION}, {"json", jsonVersion()}}}};
  options.output.answer(data, [&] {
    options.output.line("vexahost " + data["vexahost"].get<std::string>());
    options.output.line("module   " + visible(data["module"].get<std::string>()));
    options.output.line("runtime  " + data["runtime"].get<std::string>());
    std::string libraries;
    for (const auto& [name, number] : data["libraries"].items()) {
      libraries += (libraries.empty() ? "" : ", ") + name + " " + number.get<std::string>();
    }
    options.output.line("with     " + libraries);
  });
}

}  // namespace vexahost
