#pragma once

#include <string>

#include "cli/command.h"
#include "cli/exit_status.h"
#include "cli/output.h"
#include "module.h"

// The command line. Every command adds itself to the application; its callback does the work and
// throws HostError when it fails.
namespace vexahost {

// Options that every command takes.
struct Options {
  ModuleOptions module;
  std::string modulePath;
  Output output;
  bool wantsVersion = false;
  int exitStatus = 0;  // what the program ends with when nothing was thrown

  void checkFailed() { exitStatus = static_cast<int>(ExitStatus::kNo); }
};

void addCaCommand(Command app, Options& options);
void addCapiCommand(Command app, Options& options);
void addCertsCommand(Command app, Options& options);
void addJsonCommand(Command app, Options& options);
void addListsCommand(Command app, Options& options);
void addMonitorCommand(Command app, Options& options);
void addOwnCommand(Command app, Options& options);
void addP12Command(Command app, Options& options);
void addProxyCommand(Command app, Options& options);
void addScrambleCommand(Command app, Options& options);
void addServeCommand(Command app, Options& options);
void addTimeCommand(Command app, Options& options);
void addUrlCommand(Command app, Options& options);

}  // namespace vexahost
