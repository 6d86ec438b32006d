#pragma once

#include <cstdint>
#include <string>

#include "module.h"

namespace vexahost {

// "filetime, unix, unix-ms, ...": the formats that have names.
std::string timeFormatNames();

// `value`: an unsigned number, or "now", whose format is known. Formats: a name or a word such as
// 0x21. Throws HostError for what cannot be read.
uint64_t convertTime(const Module& module, const std::string& value, const std::string& from,
                     const std::string& to);

}  // namespace vexahost
