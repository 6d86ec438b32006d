#include "time_formats.h"

#include <cctype>
#include <cerrno>
#include <cstdint>
#include <cstdlib>

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

bool startsWithDigit(const std::string& text) {
  return !text.empty() && std::isdigit(static_cast<unsigned char>(text[0])) != 0;
}

uint64_t parseNumber(const std::string& text, const char* what, uint64_t most) {
  char* end = nullptr;
  errno = 0;
  const uint64_t value = std::strtoull(text.c_str(), &end, 0);
  if (!startsWithDigit(text) || *end != '\0') {
    throw HostError(std::string(what) + " is not a number: " + text, ExitStatus::kUsage);
  }
  if (errno == ERANGE || value > most) {
    throw HostError(std::string(what) + " is too large: " + text, ExitStatus::kUsage);
  }
  return value;
}

uint32_t parseFormat(const std::string& text) {
  for (const NamedFormat& format : kFormats) {
    if (text == format.name) {
      return format.word;
    }
  }
  if (!startsWithDigit(text)) {
    throw HostError("no such format: " + text + " (known: " + timeFormatNames() + ")",
                    ExitStatus::kUsage);
  }
  return static_cast<uint32_t>(parseNumber(text, "the format", UINT32_MAX));
}

}  // namespace

std::string timeFormatNames() {
  std::string names;
  for (const NamedFormat& format : kFormats) {
    names += names.empty() ? "" : ", ";
    names += format.name;
  }
  return names;
}

uint64_t convertTime(const Module& module, const std::string& value, const std::string& from,
                     const std::string& to) {
  const uint32_t fromFormat = parseFormat(from);
  const uint32_t toFormat = parseFormat(to);
  const auto& list = module.list<vexa::TimeList>();
  return value == "now"
             ? list.ConvertTime(list.GetCurrentFileTime(), vexa::kFileTimeFormat, toFormat)
             : list.ConvertTime(parseNumber(value, "the value", UINT64_MAX), fromFormat, toFormat);
}

}  // namespace vexahost
