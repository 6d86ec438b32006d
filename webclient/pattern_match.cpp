#include <cstring>

#include "base/trace.h"
#include "webclient/url_parser.h"

// Whether the URL of a parser is covered by a pattern such as "https://*.example.com".
namespace vexa::webclient {
namespace {

constexpr uint64_t kMinWildcardHost = 3;

// What the trace says of a host and a pattern that do not match.
using Mismatch = base::TraceFormat<const char*, const char*>;

#define VEXA_BAD_PATTERN "Bad Pattern match: [%s] != [%s]. "
constexpr Mismatch kNeedTwoParts =
    VEXA_BAD_PATTERN "Need two domain name parts for wildcard hostname ";
constexpr Mismatch kWildcardBetween =
    VEXA_BAD_PATTERN "Wildcard is between hostname and top level domain, thats not supported";
constexpr Mismatch kPartsDiffer = VEXA_BAD_PATTERN "Pattern parts does not match";
constexpr Mismatch kNoMatch = VEXA_BAD_PATTERN "Pattern does not match";
#undef VEXA_BAD_PATTERN

char lowered(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; }

// A host with the rest of the URL's text behind it, and how far it has been matched.
struct HostCursor {
  const char* host;
  uint64_t length;
  uint64_t at = 0;

  bool atEnd() const { return at == length; }
  char current() const { return host[at]; }
};

// "*." takes one label of the host, which may be empty, and leaves both cursors in front of the
// "." behind it. False: the pattern has no second ".". That is looked for in all of the pattern's
// text, so one in its path will do.
bool takeWildcard(HostCursor& host, HostCursor& pattern) {
  const char* const behindStar = pattern.host + 1;
  if (*behindStar != '.' || std::strchr(behindStar + 1, '.') == nullptr) {
    return false;
  }
  pattern.at = 1;
  while (!host.atEnd() && host.current() != '.') {
    ++host.at;
  }
  return true;
}

// Compares what is left of the two. Null: they match; else the reason why not.
const Mismatch* compareRest(HostCursor host, HostCursor pattern) {
  for (; !host.atEnd() && !pattern.atEnd(); ++host.at, ++pattern.at) {
    if (pattern.current() == '*') {
      return &kWildcardBetween;
    }
    if (lowered(host.current()) != lowered(pattern.current())) {
      return &kPartsDiffer;
    }
  }
  return host.atEnd() && pattern.atEnd() ? nullptr : &kNoMatch;
}

const Mismatch* findMismatch(HostCursor host, HostCursor pattern) {
  if (pattern.length >= kMinWildcardHost && pattern.current() == '*' &&
      !takeWildcard(host, pattern)) {
    return &kNeedTwoParts;
  }
  return compareRest(host, pattern);
}

}  // namespace

bool URLParser::pattern_match(const char* pattern) {
  return base::traced("URLParser::pattern_match", [&] {
    if (pattern == nullptr || !isValid() || !isHTTPS()) {
      return false;
    }
    LocalUrlParser other;
    if (failed(other->parse(pattern))) {
      return false;
    }
    if (other->getProtocol() != getProtocol() || other->getPort() != getPort()) {
      return false;
    }
    return matchHost(*other.get());
  });
}

bool URLParser::matchHost(const URLParser& pattern) const {
  const Mismatch* const mismatch = findMismatch({parts_.host, parts_.hostLength},
                                                {pattern.parts_.host, pattern.parts_.hostLength});
  if (mismatch == nullptr) {
    return true;
  }
  // The host is not terminated where it ends: the message shows the rest of the URL, too.
  base::traceFormat(base::kTraceInfo, base::kModuleSource, *mismatch, parts_.host,
                    pattern.parts_.url);
  return false;
}

}  // namespace vexa::webclient
