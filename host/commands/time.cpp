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

void addTimeCommand(Command app, Options& options) {
  Command command = app.command("time", "Convert a time between units and epochs");
  const auto conversion = std::make_shared<Conversion>();
  const std::string help = "Format: " + timeFormatNames() + ", or a word such as 0x21";
  command.option("value", conversion->value, "Unsigned number, or \"now\"").required();
  command.option("--from", conversion->from, help).showsDefault();
  command.option("--to", conversion->to, help).showsDefault();
  command.onRun([&options, conversion] { convert(options, *conversion); });
}

}  // namespace vexahost
