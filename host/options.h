#pragma once

#include <CLI/CLI.hpp>
#include <string>

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

void addCaCommand(CLI::App& app, Options& options);
void addCapiCommand(CLI::App& app, Options& options);
void addCertsCommand(CLI::App& app, Options& options);
void addJsonCommand(CLI::App& app, Options& options);
void addListsCommand(CLI::App& app, Options& options);
void addMonitorCommand(CLI::App& app, Options& options);
void addOwnCommand(CLI::App& app, Options& options);
void addP12Command(CLI::App& app, Options& options);
void addProxyCommand(CLI::App& app, Options& options);
void addScrambleCommand(CLI::App& app, Options& options);
void addServeCommand(CLI::App& app, Options& options);
void addTimeCommand(CLI::App& app, Options& options);
void addUrlCommand(CLI::App& app, Options& options);

}  // namespace vexahost
