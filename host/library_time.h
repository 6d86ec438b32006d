#pragma once

#include <chrono>
#include <optional>
#include <string>

// Times as the runtime's library writes them: UTC, YYYYMMDDThhmmss.
namespace vexahost {

std::string libraryTime(std::chrono::sys_seconds time);
// The same from "2030-12-31", "2030-12-31T23:59:59Z" or a library time. What is none of these makes
// something else.
std::string libraryTime(const std::string& text);
// Nothing for what is no library time.
std::optional<std::chrono::sys_seconds> fromLibraryTime(const std::string& text);

}  // namespace vexahost
