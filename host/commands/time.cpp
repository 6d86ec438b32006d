#include <cctype>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>

#include "options.h"
#include "vexa/time.h"

namespace vexahost {
namespace {

struct NamedFormat {
  const char* name;
  uint32_t word;
};
constexpr NamedFormat kFormats[] = {
    {"filetime", vexa::kFileTimeFormat},
    {"unix", vexa::kUnixSecondsFormat},
    {"unix-ms", vexa::kUnixMillisecondsFormat},
    {"unix-us", vexa::kTimeSinceUnix | vexa::kTimeMicroseconds},
    {"from-now", vexa::kSecondsFromNowFormat},
    {"from-now-ms", vexa::kTimeSinceNow | vexa::kTimeMilliseconds},
};

std::string formatNames() {
  std::string names;
  for (const NamedFormat& format : kFormats) {
    names += names.empty() ? "" : ", ";
    names += format.name;
  }
  return names;
}

uint64_t parseNumber(const std::string& text, const char* what) {
  char* end = nullptr;
  const uint64_t value = std::strtoull(text.c_str(), &end, 0);
  if (text.empty() || *end != '\0' || std::isdigit(static_cast<unsigned char>(text[0])) == 0) {
    throw HostError(std::string(what) + " is not a number: " + text);
  }
  return value;
}

uint32_t parseFormat(const std::string& text) {
  for (const NamedFormat& format : kFormats) {
    if (text == format.name) {
      return format.word;
    }
  }
  if (text.empty() || std::isdigit(static_cast<unsigned char>(text[0])) == 0) {
    throw HostError("no such format: " + text + " (known: " + formatNames() + ")");
  }
  return static_cast<uint32_t>(parseNumber(text, "the format"));
}

struct Conversion {
  std::string value;
  std::string from = "filetime";
  std::string to = "unix";
};

void convert(const Options& options, const Conversion& conversion) {
  const uint32_t from = parseFormat(conversion.from);
  const uint32_t to = parseFormat(conversion.to);
  const Module module(options.module);
  const auto& list = module.list<vexa::TimeList>(vexa::kTimeListName);
  const bool isNow = conversion.value == "now";
  const uint64_t value =
      isNow ? list.GetCurrentFileTime() : parseNumber(conversion.value, "the value");
  std::printf("%" PRIu64 "\n", list.ConvertTime(value, isNow ? vexa::kFileTimeFormat : from, to));
}

}  // namespace

void addTimeCommand(CLI::App& app, Options& options) {
  CLI::App* const command = app.add_subcommand("time", "Convert a time between units and epochs");
  const auto conversion = std::make_shared<Conversion>();
  const std::string help = "Format: " + formatNames() + ", or a word such as 0x21";
  command->add_option("value", conversion->value, "Unsigned number, or \"now\"")->required();
  command->add_option("--from", conversion->from, help)->capture_default_str();
  command->add_option("--to", conversion->to, help)->capture_default_str();
  command->callback([&options, conversion] { convert(options, *conversion); });
}

}  // namespace vexahost
