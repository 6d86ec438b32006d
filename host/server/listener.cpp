#include "server/listener.h"

#include <asio/ip/v6_only.hpp>
#include <chrono>
#include <string>
#include <utility>

#include "module.h"

namespace vexahost {
namespace {

using asio::ip::tcp;

constexpr std::chrono::milliseconds kRetry{100};
constexpr int kMostTries = 20;

[[noreturn]] void complain(uint16_t port, const asio::error_code& error) {
  const std::string start = "cannot listen on port " + std::to_string(port) + ": ";
  if (error == asio::error::address_in_use) {
    throw HostError(start + "another program has it; --port 0 takes a free one");
  }
  if (error == asio::error::access_denied) {
    throw HostError(start + "this account may not use it, or another program has it; " +
                    "--port 0 takes a free one");
  }
  throw HostError(start + "error " + std::to_string(error.value()) + "; --port takes another one");
}

bool isMissingAddress(const asio::error_code& error) {
  return error == asio::error::address_family_not_supported ||
         error == asio::error_code(
#ifdef _WIN32
                      WSAEADDRNOTAVAIL,
#else
                      EADDRNOTAVAIL,
#endif
                      asio::error::get_system_category());
}

// With what goes before listening done; the error of the step that failed.
asio::error_code open(tcp::acceptor& acceptor, const tcp::endpoint& place) {
  asio::error_code error;
  acceptor.open(place.protocol(), error);
#ifdef _WIN32
  // There, sharing is the default: another program could take the port, too.
  using Exclusive = asio::detail::socket_option::boolean<SOL_SOCKET, SO_EXCLUSIVEADDRUSE>;
  const Exclusive option(true);
#else
  const tcp::acceptor::reuse_address option(true);  // connections of an earlier start may linger
#endif
  if (!error) {
    acceptor.set_option(option, error);
  }
  if (!error && place.address().is_v6()) {
    acceptor.set_option(asio::ip::v6_only(true), error);
  }
  if (!error) {
    acceptor.bind(place, error);
  }
  if (!error) {
    acceptor.listen(asio::socket_base::max_listen_connections, error);
  }
  return error;
}

}  // namespace

Listener::Listener(asio::io_context& context, uint16_t port) : context_(context) {
  for (int tries = 0; addresses_.size() < 2; ++tries) {
    addresses_.clear();
    listen(asio::ip::address_v4::loopback(), port);
    if (!listen(asio::ip::address_v6::loopback(), this->port())) {
      // A port that is free on one address need not be on the other.
      if (port != 0 || tries == kMostTries) {
        complain(this->port(), asio::error::address_in_use);
      }
    } else if (addresses_.size() == 1) {
      return;  // a machine without IPv6
    }
  }
}

// Listens there, unless the machine has no such address. False: another program has the port.
bool Listener::listen(const asio::ip::address& address, uint16_t port) {
  tcp::acceptor acceptor(context_);
  const asio::error_code error = open(acceptor, {address, port});
  if (!error) {
    addresses_.push_back({std::move(acceptor), asio::steady_timer(context_)});
    return true;
  }
  if (address.is_v6() && isMissingAddress(error)) {
    return true;
  }
  if (address.is_v6() && error == asio::error::address_in_use) {
    return false;
  }
  complain(port, error);
}

uint16_t Listener::port() const { return addresses_.front().acceptor.local_endpoint().port(); }

void Listener::start(Accept accept, Exhausted exhausted) {
  accept_ = std::move(accept);
  exhausted_ = std::move(exhausted);
  for (Address& address : addresses_) {
    acceptOn(address);
  }
}

void Listener::stop() {
  for (Address& address : addresses_) {
    asio::error_code ignored;
    address.acceptor.close(ignored);
    address.retry.cancel();
  }
}

void Listener::acceptOn(Address& address) {
  address.acceptor.async_accept(
      [this, &address](const asio::error_code& error, tcp::socket socket) {
        if (!address.acceptor.is_open()) {
          return;
        }
        if (!error) {
          accept_(std::move(socket));
        } else if (error != asio::error::connection_aborted) {
          return acceptLater(address);
        }
        acceptOn(address);
      });
}

// Asking again at once would only burn the processor until something is closed.
void Listener::acceptLater(Address& address) {
  exhausted_();
  address.retry.expires_after(kRetry);
  address.retry.async_wait([this, &address](const asio::error_code& error) {
    if (!error && address.acceptor.is_open()) {
      acceptOn(address);
    }
  });
}

}  // namespace vexahost
