#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "harness.h"

namespace vexa::fuzz {

// One answer of an HTTP/1.1 server, as a client reads it (RFC 9112). What a client could not read
// ends the run.
struct Response {
  uint32_t status = 0;
  bool isContinued = false;        // "100 Continue" came before
  bool isClosing = false;          // "Connection: close"
  std::optional<uint64_t> length;  // Content-Length
  std::string body;                // without a length: what has come so far
};

// Reads answers from a stream of bytes.
class ResponseReader {
 public:
  void take(std::string_view bytes) { input_ += bytes; }
  bool isAtEnd() const { return input_.empty(); }

  // Whether the client was told to send a body, for which no answer has come yet.
  bool isContinued() {
    constexpr std::string_view kContinue = "HTTP/1.1 100 Continue\r\n\r\n";
    if (!isContinued_ && input_.starts_with(kContinue)) {
      input_.erase(0, kContinue.size());
      isContinued_ = true;
    }
    return isContinued_;
  }

  // The next whole answer.
  std::optional<Response> next(bool isOfHead) {
    isContinued();
    const size_t end = input_.find("\r\n\r\n");
    if (end == std::string::npos) {
      return std::nullopt;
    }
    Response response = readHead(std::string_view(input_).substr(0, end + 2));
    const bool hasBody = !isOfHead && response.status != 204;
    const uint64_t bodyLength = hasBody ? response.length.value_or(UINT64_MAX) : 0;
    const size_t rest = input_.size() - (end + 4);
    require(response.status != 204 || !response.length, "an empty answer has no length");
    require(response.length || response.status == 204 || response.isClosing,
            "an answer without a length is the last one");
    if (response.length && rest < bodyLength) {
      return std::nullopt;
    }
    const auto taken = static_cast<size_t>(std::min<uint64_t>(bodyLength, rest));
    response.isContinued = std::exchange(isContinued_, false);
    response.body = input_.substr(end + 4, taken);
    input_.erase(0, end + 4 + taken);
    return response;
  }

 private:
  static std::string_view takeLine(std::string_view& text) {
    const size_t end = text.find("\r\n");
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(end + 2);
    return line;
  }

  static Response readHead(std::string_view head) {
    Response response;
    const std::string_view status = takeLine(head);
    const auto digitsOnly = [](std::string_view text) {
      return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
    };
    require(status.starts_with("HTTP/1.1 ") && status.size() > 13 && status[12] == ' ' &&
                digitsOnly(status.substr(9, 3)),
            "a status line");
    response.status = static_cast<uint32_t>(std::stoul(std::string(status.substr(9, 3))));
    require(response.status >= 200 && response.status < 600, "a status that ends a request");
    while (!head.empty()) {
      const std::string_view line = takeLine(head);
      const size_t colon = line.find(": ");
      require(colon != std::string_view::npos && colon != 0, "a header line");
      const std::string_view name = line.substr(0, colon);
      const std::string_view value = line.substr(colon + 2);
      require(name.find_first_of(" \t\r\n") == std::string_view::npos, "the name of a header");
      require(value.find_first_of("\r\n") == std::string_view::npos, "the value of a header");
      if (name == "Content-Length") {
        require(!response.length && digitsOnly(value) && value.size() < 10, "one length");
        response.length = std::stoull(std::string(value));
      } else if (name == "Connection") {
        response.isClosing = value == "close";
      }
    }
    return response;
  }

  std::string input_;
  bool isContinued_ = false;
};

}  // namespace vexa::fuzz
