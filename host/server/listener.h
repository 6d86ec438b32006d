#pragma once

#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/steady_timer.hpp>
#include <cstdint>
#include <functional>
#include <vector>

namespace vexahost {

// Listens on the loopback addresses, 127.0.0.1 and ::1, on the same port. (A stranger who had the
// port on the other one would be what "localhost" leads to.)
class Listener {
 public:
  using Accept = std::function<void(asio::ip::tcp::socket)>;
  // Called when the system has no room for one more connection.
  using Exhausted = std::function<void()>;

  // `port` 0: one that is free on both. Throws HostError with what is wrong and what helps.
  Listener(asio::io_context& context, uint16_t port);

  uint16_t port() const;
  void start(Accept accept, Exhausted exhausted);
  void stop();

 private:
  struct Address {
    asio::ip::tcp::acceptor acceptor;
    asio::steady_timer retry;
  };

  bool listen(const asio::ip::address& address, uint16_t port);
  void acceptOn(Address& address);
  void acceptLater(Address& address);

  asio::io_context& context_;
  std::vector<Address> addresses_;
  Accept accept_;
  Exhausted exhausted_;
};

}  // namespace vexahost
