#include <cstdio>

#include "options.h"
#include "own_certificates.h"
#include "password.h"
#include "server/server.h"

namespace vexahost {
namespace {

// The endpoint's options and what the module is given before it serves.
struct ServeRequest {
  ServeOptions endpoint;
  std::string pse;
  Password password;
};

void serve(const Options& options, ServeRequest& request) {
  Module module(options.module);
  if (!request.pse.empty()) {
    configurePse(module, request.pse, request.password.get("Password of the PSE"));
  }
  {
    Server server(module, request.endpoint);
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
  const auto request = std::make_shared<ServeRequest>();
  ServeOptions& endpoint = request->endpoint;
  endpoint.port = 8420;
  command->add_option("--port", endpoint.port, "Port to listen on; 0 takes any free one")
      ->capture_default_str();
  command->add_option("--allow-origin", endpoint.allowedOrigins,
                      "Origin that may call, such as https://*.example.com; repeatable");
  command
      ->add_option("--monitor-interval", endpoint.monitorSeconds,
                   "Seconds between two looks at the network")
      ->capture_default_str();
  command->add_option("--pse", request->pse, "PKCS#12 file with the own certificates");
  request->password.addOptions(*command);
  command->callback([&options, request] { serve(options, *request); });
}

}  // namespace vexahost
