#pragma once

#include <filesystem>
#include <string>
#include <string_view>

// Files by their UTF-8 names. Failures throw HostError with the file's name and the reason.
namespace vexahost {

// The whole content of a file; "-" is the standard input. Of a file no copy stays behind, so that
// whoever reads a secret can wipe it.
std::string readFile(const std::string& path);
// Replaces a file. `isSecret`: readable by the user alone, where the platform can say so.
void writeFile(const std::string& path, std::string_view content, bool isSecret = false);

// The folder of the running program.
std::filesystem::path programFolder();

}  // namespace vexahost
