#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

// Texts made from the description of the command line itself, so that they cannot go out of date.
namespace vexahost {

// vexahost(1), for man; the date is that of the version.
std::string manualPage(const CLI::App& app, const std::string& version, const std::string& date);
// A completion for bash: commands, their options, and files.
std::string bashCompletion(const CLI::App& app);
// The help of one topic: a command ("ca issue" as two words), "exit-status" or "pkcs12". Throws
// HostError for another.
std::string helpTopic(const CLI::App& app, const std::vector<std::string>& words);

}  // namespace vexahost
