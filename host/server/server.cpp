#include "server/server.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <utility>
#include <vector>

namespace vexahost {
namespace {

constexpr size_t kMostConnections = 256;
// Those above the limit are told so, up to this number.
constexpr size_t kMostTold = 64;
constexpr std::chrono::milliseconds kStopTime{1'500};

}  // namespace

Server::Server(const Module& module, const ServeOptions& options)
    : listener_(context_, options.port),
      signals_(context_, SIGINT, SIGTERM),
      endpoint_(context_, module, options, listener_.port()) {}

bool Server::run() {
  signals_.async_wait([this](const asio::error_code& error, int) {
    if (!error) {
      stop();
    }
  });
  listener_.start([this](asio::ip::tcp::socket socket) { accept(std::move(socket)); },
                  [this] {
                    if (!std::exchange(hasComplained_, true)) {
                      std::fprintf(stderr, "vexahost: no room for more connections\n");
                    }
                    makeRoom();
                  });
  context_.run();
  // What was cancelled ends here.
  context_.restart();
  context_.run_for(kStopTime);
  return context_.stopped();
}

void Server::accept(asio::ip::tcp::socket socket) {
  const bool isFull = connections_.size() >= kMostConnections && !makeRoom();
  if (connections_.size() >= kMostConnections + kMostTold) {
    return;  // which closes it
  }
  ConnectionRegistry& registry = *this;
  try {
    std::make_shared<Connection>(std::move(socket), endpoint_, registry, isFull)->start();
  } catch (const std::exception& failure) {
    // This client is lost; the others are not.
    std::fprintf(stderr, "vexahost: a connection failed: %s\n", failure.what());
  }
}

// Whoever has been without an answer to wait for longest has to go: neither idle clients nor those
// that send a request drop by drop keep others out. False: there is no such connection.
bool Server::makeRoom() {
  Connection* longest = nullptr;
  for (Connection* const connection : connections_) {
    const auto since = connection->owedNothingSince();
    if (since && (longest == nullptr || *since < *longest->owedNothingSince())) {
      longest = connection;
    }
  }
  if (longest != nullptr) {
    longest->abort();
  }
  return longest != nullptr;
}

void Server::stop() {
  listener_.stop();
  for (Connection* const connection : connections_) {
    connection->abort();
  }
  endpoint_.events().stop();
  endpoint_.worker().stop(std::chrono::milliseconds(0));
  context_.stop();
}

}  // namespace vexahost
