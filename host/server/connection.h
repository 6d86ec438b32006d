#pragma once

#include <array>
#include <asio.hpp>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include "server/endpoint.h"
#include "values.h"

namespace vexahost {

// One client: reads one request, answers it, closes. Lives as long as it has work to do.
class Connection : public std::enable_shared_from_this<Connection> {
 public:
  // `count` is the number of open connections; this one counts itself in.
  Connection(asio::ip::tcp::socket socket, Endpoint& endpoint, size_t& count);
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  ~Connection();

  void start();
  // Answers without reading, for a client that came when there was no room.
  void refuse();
  // Drops the client, whatever it is waiting for.
  void abort();

 private:
  void read();
  void take(size_t count);
  void noteHeaderEnd(std::string_view bytes);
  void tryAnswer();
  void send(Reply reply);
  void sendError(uint32_t status, std::string_view message);
  void serialise(const Reply& reply);
  void drain();
  void startTimer(std::chrono::milliseconds time, void (Connection::*action)());
  void requestTimedOut();

  asio::ip::tcp::socket socket_;
  asio::steady_timer timer_;
  Endpoint& endpoint_;
  size_t& count_;
  Ref<vexa::IHTTPRequest> request_;
  std::array<char, 16384> input_;
  // How much of the empty line that ends the headers has been seen: 4 is all of it.
  size_t headerEnd_ = 0;
  Turn turn_;
  bool answering_ = false;
  std::optional<Block<uint8_t>> output_;
  uint64_t outputSize_ = 0;
};

}  // namespace vexahost
