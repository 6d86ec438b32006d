#include "server/server.h"

#include <csignal>
#include <cstdio>
#include <utility>

namespace vexahost {
namespace {

constexpr size_t kMostConnections = 256;

asio::ip::tcp::acceptor listen(asio::io_context& context, uint16_t port) {
  try {
    return {context, asio::ip::tcp::endpoint(asio::ip::address_v4::loopback(), port),
#ifdef _WIN32
            false};  // there, reuse would let another program share the port
#else
            true};
#endif
  } catch (const asio::system_error& error) {
    throw HostError("cannot listen on port " + std::to_string(port) + ": " + error.what());
  }
}

}  // namespace

Server::Server(const Module& module, const ServeOptions& options)
    : acceptor_(listen(context_, options.port)),
      signals_(context_, SIGINT, SIGTERM),
      endpoint_(module, options) {
  endpoint_.setPort(port());
}

uint16_t Server::port() const { return acceptor_.local_endpoint().port(); }

void Server::run() {
  signals_.async_wait([this](const asio::error_code& error, int) {
    if (!error) {
      stop();
    }
  });
  accept();
  context_.run();
}

void Server::accept() {
  acceptor_.async_accept([this](const asio::error_code& error, asio::ip::tcp::socket socket) {
    if (!acceptor_.is_open()) {
      return;
    }
    if (!error) {
      const bool isFull = count_ >= kMostConnections;
      try {
        const auto connection = std::make_shared<Connection>(std::move(socket), endpoint_, count_);
        connections_.remove_if([](const auto& weak) { return weak.expired(); });
        connections_.push_back(connection);
        isFull ? connection->refuse() : connection->start();
      } catch (const std::exception& failure) {
        // This client is lost; the others are not.
        std::fprintf(stderr, "vexahost: a connection failed: %s\n", failure.what());
      }
    }
    accept();
  });
}

void Server::stop() {
  asio::error_code ignored;
  acceptor_.close(ignored);
  for (const auto& weak : connections_) {
    if (const auto connection = weak.lock()) {
      connection->abort();
    }
  }
}

}  // namespace vexahost
