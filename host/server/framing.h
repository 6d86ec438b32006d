#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <variant>

// Where a request of HTTP/1 begins and ends in a byte stream (RFC 9112), and those of its headers
// that decide whether it is let in. The request itself is read by the module, which is given
// exactly the bytes of one request. Pure functions: no sockets, no memory.
namespace vexahost {

inline constexpr size_t kMostHeadBytes = 32 * 1024;

// A request that goes no further. `detail` is a literal.
struct Refusal {
  uint32_t status;
  const char* detail;
};

// Finds the end of a header block in bytes that come piece by piece.
class HeadScanner {
 public:
  enum class Result { kMoreNeeded, kComplete, kRefused };

  // `bytes`: what the last call was given, and what has come since.
  Result scan(std::string_view bytes);
  // Empty lines before the request line; they are ignored.
  size_t start() const { return start_; }
  // After kComplete: where the block ends, behind its empty line.
  size_t end() const { return line_; }
  const Refusal& refusal() const { return refusal_; }

 private:
  Result refuse(uint32_t status, const char* detail);

  size_t start_ = 0;
  size_t line_ = 0;     // where the line begins whose end is looked for
  size_t scanned_ = 0;  // no line ends before here but those that were seen
  Refusal refusal_{};
};

// The framing of one request. Texts point into the block.
struct Head {
  std::string_view method;
  std::string_view target;
  // "http://host/path" (the absolute form): its host. The target is the rest.
  std::optional<std::string_view> targetHost;
  std::string_view afterTarget;  // " HTTP/1.1" and everything behind
  uint32_t minorVersion = 1;
  std::optional<uint64_t> contentLength;
  bool keepAlive = true;
  bool expectsContinue = false;
  std::optional<std::string_view> host;
  std::optional<std::string_view> origin;
  std::optional<std::string_view> authorization;
  std::optional<std::string_view> fetchSite;         // Sec-Fetch-Site
  std::optional<std::string_view> requestedMethod;   // Access-Control-Request-Method
  std::optional<std::string_view> requestedHeaders;  // Access-Control-Request-Headers
  std::optional<std::string_view> privateNetwork;    // Access-Control-Request-Private-Network
};

// Reads a complete block without the empty lines before it. Bodies longer than `mostBody` are
// refused.
std::variant<Head, Refusal> parseHead(std::string_view block, uint64_t mostBody);

// The Origin among the complete lines of a block that is not whole, or that was refused: the page
// is to read why.
std::optional<std::string_view> originOf(std::string_view block);

// Whether the texts are equal but for the case of ASCII letters.
bool equalIgnoringCase(std::string_view a, std::string_view b);

}  // namespace vexahost
