#pragma once

#include <asio/io_context.hpp>
#include <asio/signal_set.hpp>
#include <set>
#include <string>

#include "server/connection.h"
#include "server/endpoint.h"
#include "server/listener.h"

namespace vexahost {

// The endpoint with its sockets.
class Server final : private ConnectionRegistry {
 public:
  // Throws HostError when it cannot begin.
  Server(const Module& module, const ServeOptions& options);

  // Serves until Ctrl-C. False: something was still under way a moment later, and uses the module.
  bool run();

  uint16_t port() const { return listener_.port(); }
  const Token& token() const { return endpoint_.token(); }

 private:
  void add(Connection& connection) override { connections_.insert(&connection); }
  void remove(Connection& connection) override { connections_.erase(&connection); }

  void accept(asio::ip::tcp::socket socket);
  void makeRoom();
  void stop();

  asio::io_context context_{1};
  Listener listener_;
  asio::signal_set signals_;
  Endpoint endpoint_;
  std::set<Connection*> connections_;
  bool hasComplained_ = false;
};

}  // namespace vexahost
