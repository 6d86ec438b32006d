#include "server/origins.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>

namespace vexahost {
namespace {

constexpr std::string_view kHttp = "http://";
constexpr std::string_view kHttps = "https://";
constexpr uint16_t kHttpPort = 80;
constexpr uint16_t kHttpsPort = 443;

bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isHexDigit(char c) { return isDigit(c) || (c >= 'a' && c <= 'f'); }
bool isLabelCharacter(char c) {
  return isDigit(c) || (c >= 'a' && c <= 'z') || c == '-' || c == '_';
}

// "[" 1*( HEXDIG / ":" / "." ) "]"
bool isAddressLiteral(std::string_view host) {
  return host.size() > 2 && host.front() == '[' && host.back() == ']' &&
         std::all_of(host.begin() + 1, host.end() - 1,
                     [](char c) { return isHexDigit(c) || c == ':' || c == '.'; });
}

// label *( "." label ) [ "." ]
bool isName(std::string_view host) {
  constexpr size_t kLongestName = 254;
  constexpr size_t kLongestLabel = 63;
  if (host.empty() || host.size() > kLongestName) {
    return false;
  }
  while (!host.empty()) {
    const std::string_view label = host.substr(0, host.find('.'));
    if (label.empty() || label.size() > kLongestLabel ||
        !std::all_of(label.begin(), label.end(), isLabelCharacter)) {
      return false;
    }
    host.remove_prefix(std::min(label.size() + 1, host.size()));
  }
  return true;
}

// 1 to 65535 without leading zeros.
std::optional<uint16_t> parsePort(std::string_view text) {
  uint16_t port = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
  const bool isWhole = error == std::errc() && end == text.data() + text.size();
  return isWhole && text.front() != '0' ? std::optional(port) : std::nullopt;
}

void cutSuffix(std::string& text, std::string_view suffix) {
  if (text.ends_with(suffix)) {
    text.resize(text.size() - suffix.size());
  }
}

std::string lowered(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  return text;
}

[[noreturn]] void fail(const char* reason) { throw std::invalid_argument(reason); }

}  // namespace

std::optional<Origin> parseOrigin(std::string_view text) {
  Origin origin{text.starts_with(kHttps), {}, 0};
  const uint16_t usualPort = origin.isHttps ? kHttpsPort : kHttpPort;
  if (!origin.isHttps && !text.starts_with(kHttp)) {
    return std::nullopt;
  }
  text.remove_prefix(origin.isHttps ? kHttps.size() : kHttp.size());
  const size_t literalEnd = text.starts_with('[') ? std::min(text.find(']'), text.size()) : 0;
  const size_t colon = text.find(':', literalEnd);
  origin.host = text.substr(0, colon);
  origin.port = usualPort;
  if (colon != std::string_view::npos) {
    const std::optional<uint16_t> port = parsePort(text.substr(colon + 1));
    if (!port || *port == usualPort) {
      return std::nullopt;
    }
    origin.port = *port;
  }
  return isName(origin.host) || isAddressLiteral(origin.host) ? std::optional(origin)
                                                              : std::nullopt;
}

bool isLoopback(std::string_view host) {
  return host == "localhost" || host.ends_with(".localhost") || host == "[::1]" ||
         (host.starts_with("127.") && std::count(host.begin(), host.end(), '.') == 3 &&
          std::all_of(host.begin(), host.end(), [](char c) { return isDigit(c) || c == '.'; }));
}

void AllowedOrigins::add(const std::string& pattern) {
  if (pattern.empty()) {
    fail("it is empty");
  }
  if (pattern == "*") {
    fail("every page at all may not call; name the origins that may");
  }
  if (pattern.starts_with(kHttp)) {
    return addLoopback(lowered(pattern));
  }
  if (!pattern.starts_with(kHttps)) {
    fail("it does not begin with https:// (or http:// for a page on this machine)");
  }
  std::string sample = lowered(pattern);
  cutSuffix(sample, ":443");
  if (const size_t star = sample.find("://*."); star != std::string::npos) {
    sample[star + 3] = 'x';
  }
  const std::optional<Origin> origin = parseOrigin(sample);
  if (!origin) {
    fail("no browser sends such an origin: https://, a host and perhaps a port, nothing else");
  }
  if (isAddressLiteral(origin->host)) {
    exact_.push_back(sample);
  } else if (match_(sample, pattern)) {
    patterns_.push_back(pattern);
  } else {
    fail("it covers no origin at all; a wildcard stands for one label before two more");
  }
}

void AllowedOrigins::addLoopback(std::string pattern) {
  cutSuffix(pattern, ":80");
  const std::optional<Origin> origin = parseOrigin(pattern);
  if (!origin) {
    fail("no browser sends such an origin: http://, a host and perhaps a port, nothing else");
  }
  if (!isLoopback(origin->host)) {
    fail("plain http is for pages of this machine alone: localhost, 127.0.0.1 or [::1]");
  }
  exact_.push_back(std::move(pattern));
}

bool AllowedOrigins::covers(std::string_view origin) const {
  const std::optional<Origin> parsed = parseOrigin(origin);
  if (!parsed) {
    return false;
  }
  if (std::find(exact_.begin(), exact_.end(), origin) != exact_.end()) {
    return true;
  }
  const std::string text(origin);
  return parsed->isHttps &&
         std::any_of(patterns_.begin(), patterns_.end(),
                     [&](const std::string& pattern) { return match_(text, pattern); });
}

}  // namespace vexahost
