#include "webclient/url_parser.h"

#include <cstring>

#include "base/char_classes.h"
#include "base/trace.h"
#include "webclient/short_text.h"

namespace vexa::webclient {
namespace {

// Names this implementation. Asked for on an object of unknown origin before its insides are looked
// at. {C3E85A17-6B0D-4D92-A4F1-5D28E97B6C03}
constexpr Guid kUrlParserId{
    0xC3E85A17, 0x6B0D, 0x4D92, {0xA4, 0xF1, 0x5D, 0x28, 0xE9, 0x7B, 0x6C, 0x03}};

constexpr char kHttpPrefix[] = "http://";
constexpr char kHttpsPrefix[] = "https://";
constexpr int32_t kHttpPort = 80;
constexpr int32_t kHttpsPort = 443;
constexpr int32_t kPortLimit = 65536;
constexpr int64_t kMaxPortCharacters = 5;
constexpr size_t kUsualHost = 64;  // longer hosts cost a block

// The first character behind `prefix`, or null when the text does not begin with it or ends there.
template <size_t kSize>
const char* skipPrefix(const char* text, const char (&prefix)[kSize]) {
  constexpr size_t kLength = kSize - 1;
  return std::strncmp(text, prefix, kLength) == 0 && text[kLength] != '\0' ? text + kLength
                                                                           : nullptr;
}

// The first ":" or "/", or the end.
const char* findHostEnd(const char* cursor) {
  while (*cursor != '\0' && *cursor != ':' && *cursor != '/') {
    ++cursor;
  }
  return cursor;
}

// The first "/", or the end.
const char* findPortEnd(const char* cursor) {
  while (*cursor != '\0' && *cursor != '/') {
    ++cursor;
  }
  return cursor;
}

bool isSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

// What atoi makes of [cursor, end): white space, a sign, leading digits. The few characters of a
// port cannot overflow.
int32_t leadingNumber(const char* cursor, const char* end) {
  while (cursor != end && isSpace(*cursor)) {
    ++cursor;
  }
  const bool negative = cursor != end && *cursor == '-';
  if (cursor != end && (*cursor == '-' || *cursor == '+')) {
    ++cursor;
  }
  int32_t value = 0;
  for (; cursor != end && base::isInClass(*cursor, base::kDigit); ++cursor) {
    value = value * 10 + (*cursor - '0');
  }
  return negative ? -value : value;
}

const base::InterfaceMapRow kMap[] = {
    base::mapRow<URLParser, IURLParser>(IID_IURLParser),
    base::mapRow<URLParser, URLParser>(kUrlParserId),
    base::mapEnd(),
};

}  // namespace

const base::InterfaceMapRow* URLParser::InterfaceMap() { return kMap; }

int32_t URLParser::parse(const char* url) {
  return base::traced("URLParser::parse", [&] {
    parts_ = {};
    if (url != nullptr) {
      scan(url);
    }
    return isValid() ? kOk : kFail;
  });
}

// url = scheme host [ ":" port ] [ "/" path ]. The terminator is met by the scan itself, so the
// length of the text, most of which is path, is never taken.
void URLParser::scan(const char* url) {
  parts_.url = url;
  const char* const host = takeScheme(url);
  if (host == nullptr) {
    return;
  }
  const char* end = findHostEnd(host);
  handleHost(end, host);
  if (*end == ':') {
    const char* const port = end + 1;
    end = findPortEnd(port);
    handlePort(end, port);
  }
  takePath(end);
}

// scheme = "http://" / "https://", with at least one character behind. Null: neither.
const char* URLParser::takeScheme(const char* url) {
  if (const char* const host = skipPrefix(url, kHttpPrefix); host != nullptr) {
    parts_.protocol = kHttp;
    parts_.port = kHttpPort;
    return host;
  }
  if (const char* const host = skipPrefix(url, kHttpsPrefix); host != nullptr) {
    parts_.protocol = kHttps;
    parts_.port = kHttpsPort;
    return host;
  }
  return nullptr;
}

// `end` is the "/" that ends host or port, or the end of the text. A "/" with nothing behind it is
// no path: the URL then stays without one and so is not valid, which callers rely on.
void URLParser::takePath(const char* end) {
  if (*end == '/') {
    parts_.pathFollows = 1;
    if (end[1] == '\0') {
      return;
    }
  }
  parts_.pathStart = end;
}

int32_t URLParser::getPort() {
  return base::traced("URLParser::getPort", [&] { return parts_.port; });
}

bool URLParser::isHTTPS() {
  return base::traced("URLParser::isHTTPS", [&] { return parts_.protocol == kHttps; });
}

bool URLParser::isValid() {
  return base::traced("URLParser::isValid", [&] {
    return parts_.port != 0 && parts_.hostLength != 0 && parts_.pathStart != nullptr;
  });
}

int64_t URLParser::getLength() {
  return base::traced("URLParser::getLength", [&] {
    return isValid() ? int64_t{parts_.pathStart - parts_.url} : int64_t{-1};
  });
}

uint32_t URLParser::getProtocol() const {
  return base::traced("URLParser::getProtocol", [&] { return parts_.protocol; });
}

void URLParser::handleHost(const char* end, const char* begin) {
  base::TraceScope scope("URLParser::handleHost");
  parts_.host = begin;
  parts_.hostLength = static_cast<uint64_t>(end - begin);
}

void URLParser::handlePort(const char* end, const char* begin) {
  base::TraceScope scope("URLParser::handlePort");
  const int64_t length = end - begin;
  const int32_t port = length > 0 && length <= kMaxPortCharacters ? leadingNumber(begin, end) : 0;
  parts_.port = port > 0 && port < kPortLimit ? port : 0;
}

bool URLParser::cmp(IURLParser* other) { return compare(other, nullptr); }

// `own` is what stands behind `other`; null while that is not known.
bool URLParser::compare(IURLParser* other, const URLParser* own) {
  return base::traced("URLParser::cmp", [&] {
    if (other == nullptr || !other->isValid() || !isValid()) {
      return false;
    }
    if (other == this) {
      return true;
    }
    base::ComPtr<URLParser> asked;
    if (own == nullptr) {
      if (failed(other->QueryInterface(&kUrlParserId, asked.putVoid())) || !asked) {
        return false;
      }
      own = asked.get();
    }
    return other->getPort() == getPort() && own->getProtocol() == getProtocol() &&
           own->parts_.hostLength == parts_.hostLength && sameHost(*own);
  });
}

// Whether hosts that differ in letter case are the same is for the string component to say.
bool URLParser::sameHost(const URLParser& other) const {
  ShortText<kUsualHost> host;
  ShortText<kUsualHost> otherHost;
  if (failed(host.assign({parts_.host, parts_.hostLength})) ||
      failed(otherHost.assign({other.parts_.host, other.parts_.hostLength}))) {
    return false;
  }
  const runtime::StringObject text = host.object();
  const runtime::StringObject otherText = otherHost.object();
  return base::bound.strings->Compare(&text, &otherText) == 0;
}

bool URLParser::cmpText(const char* url) {
  return base::traced("URLParser::cmp", [&] {
    LocalUrlParser other;
    (void)other->parse(url);  // cmp asks whether it is valid
    return compare(other.get(), other.get());
  });
}

}  // namespace vexa::webclient
