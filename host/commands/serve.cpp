#include <cstdio>

#include "options.h"
#include "server/server.h"

namespace vexahost {
namespace {

void serve(const Options& options, const ServeOptions& serveOptions) {
  Module module(options.module);
  {
    Server server(module, serveOptions);
    std::printf("vexahost: serving on http://127.0.0.1:%u (Ctrl-C ends)\n", server.port());
    std::fflush(stdout);
    server.run();
  }
  const int64_t left = module.close();
  if (left >= 0) {
    std::printf("vexahost: stopped; blocks still allocated: %lld\n", static_cast<long long>(left));
  } else {
    std::printf("vexahost: stopped\n");
  }
}

}  // namespace

void addServeCommand(CLI::App& app, Options& options) {
  CLI::App* const command =
      app.add_subcommand("serve", "The local HTTP endpoint, on 127.0.0.1, until Ctrl-C");
  const auto serveOptions = std::make_shared<ServeOptions>();
  serveOptions->port = 8420;
  command->add_option("--port", serveOptions->port, "Port to listen on; 0 takes any free one")
      ->capture_default_str();
  command->add_option("--allow-origin", serveOptions->allowedOrigins,
                      "Origin that may call, such as https://*.example.com; repeatable");
  command
      ->add_option("--monitor-interval", serveOptions->monitorSeconds,
                   "Seconds between two looks at the network")
      ->capture_default_str();
  command->callback([&options, serveOptions] { serve(options, *serveOptions); });
}

}  // namespace vexahost
