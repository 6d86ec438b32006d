#pragma once

#include <asio.hpp>
#include <list>
#include <memory>

#include "server/connection.h"
#include "server/endpoint.h"

namespace vexahost {

// The endpoint on 127.0.0.1. run() serves until Ctrl-C.
class Server {
 public:
  // Throws HostError when the port cannot be had.
  Server(const Module& module, const ServeOptions& options);
  void run();

  uint16_t port() const;

 private:
  void accept();
  void stop();

  asio::io_context context_{1};
  asio::ip::tcp::acceptor acceptor_;
  asio::signal_set signals_;
  Endpoint endpoint_;
  size_t count_ = 0;
  std::list<std::weak_ptr<Connection>> connections_;
};

}  // namespace vexahost
