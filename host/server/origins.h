#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Which pages may call. Pure but for the module's pattern match, which is handed in.
namespace vexahost {

// An origin exactly as browsers write it (RFC 6454, 6.2): lower case, no default port.
struct Origin {
  bool isHttps;
  std::string_view host;
  uint16_t port;
};
std::optional<Origin> parseOrigin(std::string_view text);

// "localhost", names below it, 127.0.0.0/8 and [::1]: what stays on the machine.
bool isLoopback(std::string_view host);

// The origins of --allow-origin.
class AllowedOrigins {
 public:
  // Whether the module says that the pattern covers the origin.
  using Match = std::function<bool(const std::string& origin, const std::string& pattern)>;

  explicit AllowedOrigins(Match match) : match_(std::move(match)) {}
  // Throws std::invalid_argument with the reason when no origin could ever match.
  void add(const std::string& pattern);
  // Whether a page of that origin may call. What no browser sends may not.
  bool covers(std::string_view origin) const;

 private:
  void addLoopback(std::string pattern);

  Match match_;
  std::vector<std::string> exact_;
  std::vector<std::string> patterns_;
};

}  // namespace vexahost
