#include <cstdio>
#include <exception>

#include "options.h"

namespace {

int run(int argc, char** argv) {
  CLI::App app("vexahost: every service of vexabase from a shell", "vexahost");
  vexahost::Options options;
  app.require_subcommand(1);
  app.add_option("--module", options.module.module, "The module's file (beside this program)");
  app.add_option("--trace", options.module.traceLevel,
                 "Trace to standard error: 1 errors to 5 details")
      ->check(CLI::Range(0, 5));
  app.fallthrough();
  vexahost::addListsCommand(app, options);
  vexahost::addServeCommand(app, options);
  vexahost::addJsonCommand(app, options);
  vexahost::addUrlCommand(app, options);
  vexahost::addTimeCommand(app, options);
  vexahost::addScrambleCommand(app, options);
  vexahost::addProxyCommand(app, options);
  vexahost::addMonitorCommand(app, options);
  vexahost::addCertsCommand(app, options);
  vexahost::addOwnCommand(app, options);
  vexahost::addP12Command(app, options);
  vexahost::addCaCommand(app, options);
  vexahost::addCapiCommand(app, options);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error);
  }
  return options.exitStatus;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "vexahost: %s\n", error.what());
    return 1;
  }
}
