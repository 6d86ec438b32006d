#include "server/server.h"

#include <chrono>
#include <csignal>
#include <string>
#include <utility>
#include <vector>

#include "cli/console.h"

namespace vexahost {
namespace {

constexpr size_t kMostConnections = 256;
// Those that wait for the endpoint keep their places; there are always others that can make room.
static_assert(EventHub::kMostListeners + Worker::kMostJobs + 1 < kMostConnections);
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
                      complain("no room for more connections");
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
  if (connections_.size() >= kMostConnections) {
    makeRoom();
  }
  ConnectionRegistry& registry = *this;
  try {
    std::make_shared<Connection>(std::move(socket), endpoint_, registry)->start();
  } catch (const std::exception& failure) {
    // This client is lost; the others are not.
    complain(std::string("a connection failed: ") + failure.what());
  }
}

// The client that has kept the endpoint waiting for longest has to go: neither idle ones, nor those
// that send a request drop by drop or do not take their answer, keep others out.
void Server::makeRoom() {
  Connection* longest = nullptr;
  for (Connection* const connection : connections_) {
    const auto since = connection->clientsTurnSince();
    if (since && (longest == nullptr || *since < *longest->clientsTurnSince())) {
      longest = connection;
    }
  }
  if (longest != nullptr) {
    longest->abort();
  }
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
