#include <array>
#include <asio.hpp>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

// The least that a server on Asio can do: it answers every header block (and the body that its
// Content-Length tells of, when it begins as wrk's do) with one constant text. "Connection: close"
// ends the connection. bare_server SIZE: prints its port, answers SIZE bytes.
namespace {

using asio::ip::tcp;

class Connection : public std::enable_shared_from_this<Connection> {
 public:
  Connection(tcp::socket socket, const std::string& body)
      : socket_(std::move(socket)), body_(body) {
    socket_.set_option(tcp::no_delay(true));
  }

  void read() {
    socket_.async_read_some(asio::buffer(piece_), [self = shared_from_this()](
                                                      const asio::error_code& error, size_t count) {
      if (!error) {
        self->input_.append(self->piece_.data(), count);
        self->answer();
      }
    });
  }

 private:
  void answer() {
    const size_t end = input_.find("\r\n\r\n");
    if (end == std::string::npos || input_.size() < end + 4 + bodyLength(end)) {
      return read();
    }
    isLast_ =
        std::string_view(input_).substr(0, end).find("Connection: close") != std::string_view::npos;
    input_.erase(0, end + 4 + bodyLength(end));
    output_ = "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: " +
              std::to_string(body_.size()) + "\r\n\r\n" + body_;
    asio::async_write(socket_, asio::buffer(output_),
                      [self = shared_from_this()](const asio::error_code& error, size_t) {
                        if (!error && !self->isLast_) {
                          self->answer();
                        }
                      });
  }

  size_t bodyLength(size_t end) const {
    constexpr std::string_view kName = "Content-Length: ";
    const size_t found = std::string_view(input_).substr(0, end).find(kName);
    return found == std::string_view::npos ? 0 : std::stoul(input_.substr(found + kName.size(), 8));
  }

  tcp::socket socket_;
  const std::string& body_;
  std::array<char, 16384> piece_;
  std::string input_;
  std::string output_;
  bool isLast_ = false;
};

void accept(tcp::acceptor& acceptor, const std::string& body) {
  acceptor.async_accept([&](const asio::error_code& error, tcp::socket socket) {
    if (!error) {
      std::make_shared<Connection>(std::move(socket), body)->read();
    }
    accept(acceptor, body);
  });
}

}  // namespace

int main(int count, char** arguments) {
  const std::string body(count > 1 ? std::stoul(arguments[1]) : 1000, 'x');
  asio::io_context context(1);
  tcp::acceptor acceptor(context, {asio::ip::address_v4::loopback(), 0});
  std::printf("%u\n", acceptor.local_endpoint().port());
  std::fflush(stdout);
  accept(acceptor, body);
  context.run();
}
