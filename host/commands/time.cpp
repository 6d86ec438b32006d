#include "options.h"
#include "time_formats.h"

namespace vexahost {
namespace {

struct Conversion {
  std::string value;
  std::string from = "filetime";
  std::string to = "unix";
};

void convert(Options& options, const Conversion& conversion) {
  const Module module(options.module);
  const uint64_t result = convertTime(module, conversion.value, conversion.from, conversion.to);
  options.output.answer({{"result", result}}, [&] { options.output.line(std::to_string(result)); });
}

}  // namespace

void addTimeCommand(CLI::App& app, Options& options) {
  CLI::App* const command = app.add_subcommand("time", "Convert a time between units and epochs");
  const auto conversion = std::make_shared<Conversion>();
  const std::string help = "Format: " + timeFormatNames() + ", or a word such as 0x21";
  command->add_option("value", conversion->value, "Unsigned number, or \"now\"")->required();
  command->add_option("--from", conversion->from, help)->capture_default_str();
  command->add_option("--to", conversion->to, help)->capture_default_str();
  command->callback([&options, conversion] { convert(options, *conversion); });
}

}  // namespace vexahost
