#pragma once

#include <string>

#include "cli/command.h"

namespace vexahost {

// A password that never stands on a command line: from a file (its first line), from the standard
// input (a line), or asked for without echo. Wiped when it goes.
class Password {
 public:
  Password() = default;
  Password(const Password&) = delete;
  Password& operator=(const Password&) = delete;
  ~Password();

  // Adds --NAME-file and --NAME-stdin to a command.
  void addOptions(Command command, const std::string& name = "password");
  // Gets it, once. `prompt` is shown when the user is asked. Throws HostError.
  const std::string& get(const char* prompt);

 private:
  std::string file_;
  bool fromInput_ = false;
  bool known_ = false;
  std::string text_;
};

}  // namespace vexahost
