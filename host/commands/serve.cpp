#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "cli/console.h"
#include "files.h"
#include "options.h"
#include "own_certificates.h"
#include "password.h"
#include "server/routes.h"
#include "server/server.h"

namespace vexahost {
namespace {

// The endpoint's options and what the module is given before it serves.
struct ServeRequest {
  ServeOptions endpoint;
  std::string pse;
  Password password;
};

// A file that is there while the endpoint answers, and tells where. It comes whole or not at all.
class ReadyFile {
 public:
  ReadyFile(const std::string& path, uint16_t port) : path_(path) {
    if (path.empty()) {
      return;
    }
    const std::string number = std::to_string(port);
    const std::string partial = path + ".part";
    writeFile(partial,
              "{\"port\": " + number + ", \"url\": \"http://127.0.0.1:" + number + "\"}\n");
    std::error_code error;
    std::filesystem::rename(pathOf(partial), pathOf(path), error);
    if (error) {
      std::error_code ignored;
      std::filesystem::remove(pathOf(partial), ignored);
      throw HostError(path + ": cannot be written", ExitStatus::kOutput);
    }
  }
  ReadyFile(const ReadyFile&) = delete;
  ReadyFile& operator=(const ReadyFile&) = delete;
  ~ReadyFile() {
    if (!path_.empty()) {
      std::error_code ignored;
      std::filesystem::remove(pathOf(path_), ignored);
    }
  }

 private:
  std::string path_;
};

void announce(const Server& server) {
  std::printf("vexahost: serving on http://127.0.0.1:%u (Ctrl-C ends)\n", server.port());
  std::printf("vexahost: console http://127.0.0.1:%u/#token=%s\n", server.port(),
              server.token().text().c_str());
  std::fflush(stdout);
}

void serve(const Options& options, ServeRequest& request) {
  Module module(options.module);
  if (!request.pse.empty()) {
    configurePse(module, request.pse, request.password.get("Password of the PSE"));
  }
  {
    Server server(module, request.endpoint);
    bool hasEnded = false;
    {
      const ReadyFile ready(request.endpoint.readyFile, server.port());
      announce(server);  // whoever reads it finds the file
      hasEnded = server.run();
    }
    if (!hasEnded) {
      // Only the system can end a proxy question that a server somewhere does not answer.
      std::printf("vexahost: stopped; a question for a proxy was still open\n");
      restoreConsole();
      std::_Exit(0);
    }
  }
  const int64_t left = module.close();
  if (left >= 0) {
    std::printf("vexahost: stopped; blocks still allocated: %lld\n", static_cast<long long>(left));
  } else {
    std::printf("vexahost: stopped\n");
  }
}

}  // namespace

void addServeCommand(Command app, Options& options) {
  Command command =
      app.command("serve", "The local HTTP endpoint, on 127.0.0.1 and [::1], until Ctrl-C");
  command.setFooter(routeHelp());
  const auto request = std::make_shared<ServeRequest>();
  ServeOptions& endpoint = request->endpoint;
  endpoint.port = 8420;
  command.option("--port", endpoint.port, "Port to listen on; 0 takes any free one")
      .between(0, 65535)
      .showsDefault();
  command.option("--allow-origin", endpoint.allowedOrigins,
                 "Origin whose pages may call, such as https://*.example.com or, for "
                 "development, http://localhost:3000; repeatable");
  command
      .option("--monitor-interval", endpoint.monitorSeconds,
              "Seconds between two looks at the network")
      .between(1, 3600)
      .showsDefault();
  command.option("--log", endpoint.log, "File that gets a line a request; - is the output");
  command.option("--ready-file", endpoint.readyFile,
                 "File that is there, with the port in it, while the endpoint answers");
  command.option("--pse", request->pse, "PKCS#12 file with the own certificates");
  request->password.addOptions(command);
  command.onRun([&options, request] { serve(options, *request); });
}

}  // namespace vexahost
