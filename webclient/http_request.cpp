#include "webclient/http_request.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string_view>
#include <utility>

#include "base/trace.h"
#include "webclient/text_pieces.h"

namespace vexa::webclient {
namespace {

using base::kModuleSource;
using base::kTraceInfo;

constexpr const char* kMethods[] = {"OPTIONS", "GET",    "HEAD",  "POST",
                                    "PUT",     "DELETE", "TRACE", "CONNECT"};
constexpr size_t kLongestMethod = 7;
constexpr std::string_view kKeptHeaders[] = {"Referer", "Origin"};
constexpr std::string_view kContentLength = "Content-Length";
constexpr size_t kUsualName = 32;  // longer names cost a lookup a block

// The carriage return of the first line end at or behind `from`; null when there is none.
uint8_t* findLineEnd(uint8_t* from, const uint8_t* end) {
  while (end - from >= 2) {
    auto* const found =
        static_cast<uint8_t*>(std::memchr(from, '\r', static_cast<size_t>(end - from - 1)));
    if (found == nullptr || found[1] == '\n') {
      return found;
    }
    from = found + 1;
  }
  return nullptr;
}

int32_t lookUp(const collections::TextTable& table, const char* name, char** value) {
  if (value == nullptr) {
    return kFail;
  }
  *value = nullptr;
  if (name == nullptr) {
    return kFail;
  }
  ShortText<kUsualName> key;
  if (failed(key.assign(name))) {
    return kOutOfMemory;
  }
  runtime::StringObject text = key.object();
  if (failed(base::bound.strings->Normalise(&text))) {
    return kOutOfMemory;
  }
  const char* const found = table.find(key.text());
  if (found == nullptr) {
    return kFail;
  }
  *value = base::bound.strings->TextDuplicate(found);
  return *value != nullptr ? kOk : kOutOfMemory;
}

const base::InterfaceMapRow kMap[] = {
    base::mapRow<CHTTPRequest, IHTTPRequest>(IID_IHTTPRequest),
    base::mapEnd(),
};

}  // namespace

const base::InterfaceMapRow* CHTTPRequest::InterfaceMap() { return kMap; }

// Reads complete lines until the empty one. kMoreNeeded: it has not come yet.
int32_t CHTTPRequest::parseLines() {
  while (!headerFinished_) {
    uint8_t* const lineEnd =
        findLineEnd(atCursor() + std::exchange(searched_, 0), pending_.data() + end_);
    if (lineEnd == nullptr) {
      break;
    }
    if (parseLine(lineEnd) == kOutOfMemory) {
      return kOutOfMemory;
    }
    cursor_ = static_cast<uint64_t>(lineEnd + 2 - pending_.data());
  }
  if (!refusedMethod_.empty() && failed(takeMethod(std::exchange(refusedMethod_, {})))) {
    return kOutOfMemory;
  }
  return headerFinished_ ? kOk : waitForLineEnd();
}

int32_t CHTTPRequest::waitForLineEnd() {
  const uint64_t count = remaining();
  if (count > kHttpMaxUnfinishedLine) {
    return blockUnfinishedLine(count);
  }
  if (const int32_t result = setUnfinished(atCursor(), count); failed(result)) {
    return result;
  }
  searched_ = count == 0 ? 0 : count - 1;  // the last byte may be half of the line end
  return kMoreNeeded;
}

// As long as there is no URI, every line is taken for the request line.
int32_t CHTTPRequest::parseLine(uint8_t* lineEnd) {
  if (atCursor() == lineEnd) {
    headerFinished_ = true;
    base::traceText(kTraceInfo, kModuleSource, "CHTTPRequest::header finished");
    return kOk;
  }
  return uri_.empty() ? parseRequestLine() : parseHeaderLine(lineEnd);
}

// request-line = method SP request-target SP HTTP-version CRLF. A missing blank takes the token
// from later lines: what is searched and copied for one line must not be so again for each of them.
int32_t CHTTPRequest::parseRequestLine() {
  return base::traced("CHTTPRequest::parseRequestLine", [&] {
    skipWhitespace();
    std::string_view token;
    if (!takeWord(token)) {
      return kFail;
    }
    refusedMethod_ = {};
    if (token.size() > kLongestMethod) {
      refusedMethod_ = token;
      return kFail;
    }
    if (failed(takeMethod(token))) {
      return kOutOfMemory;
    }
    if (!isMethodAllowed() || !takeWord(token)) {
      return kFail;
    }
    if (failed(takeUri(token)) || failed(parseURI())) {
      return kOutOfMemory;
    }
    if (!takeToken("\r\n", token)) {
      return kFail;
    }
    if (failed(protocolVersion_.assign(token))) {
      return kOutOfMemory;
    }
    base::traceFormat(kTraceInfo, kModuleSource,
                      "Request String parsed: method: %s, uri: %s, protocol version: %s",
                      method_.text(), uri_.text(), protocolVersion_.text());
    return kOk;
  });
}

// The bytes up to the separator, which is passed over. False: it does not come.
bool CHTTPRequest::takeToken(std::string_view separator, std::string_view& token) {
  const std::string_view rest(reinterpret_cast<const char*>(atCursor()), remaining());
  const size_t found = rest.find(separator);
  if (found == std::string_view::npos) {
    return false;
  }
  token = rest.substr(0, found);
  cursor_ += found + separator.size();
  return true;
}

// The bytes up to the next blank.
bool CHTTPRequest::takeWord(std::string_view& token) {
  if (!dark_.holds(cursor_)) {
    const auto* const blank =
        static_cast<const uint8_t*>(std::memchr(atCursor(), ' ', remaining()));
    dark_ = {cursor_, blank != nullptr ? static_cast<uint64_t>(blank - pending_.data()) : end_};
  }
  if (dark_.end == end_) {
    return false;
  }
  token = {reinterpret_cast<const char*>(atCursor()), dark_.end - cursor_};
  cursor_ = dark_.end + 1;
  return true;
}

int32_t CHTTPRequest::readToken(const char* separator, runtime::StringObject* out) {
  const uint64_t start = cursor_;
  std::string_view token;
  if (!takeToken(separator, token)) {
    return kFail;
  }
  if (failed(base::bound.strings->AssignBytes(out, token.data(), token.size()))) {
    cursor_ = start;
    return kOutOfMemory;
  }
  return kOk;
}

int32_t CHTTPRequest::takeMethod(std::string_view token) {
  if (const int32_t result = method_.assign(token); failed(result)) {
    return result;
  }
  runtime::StringObject method = method_.object();
  return base::bound.strings->Normalise(&method);
}

bool CHTTPRequest::isMethodAllowed() {
  return std::any_of(std::begin(kMethods), std::end(kMethods),
                     [method = method_.object()](const char* accepted) {
                       return base::bound.strings->CompareWithText(&method, accepted) == 0;
                     });
}

inline int32_t CHTTPRequest::keepHeader(const runtime::StringObject& name, const char* value) {
  const auto isNamed = [&name](std::string_view other) {
    return name.length == other.size() &&
           base::bound.strings->CompareWithText(&name, other.data()) == 0;
  };
  if (std::any_of(std::begin(kKeptHeaders), std::end(kKeptHeaders), isNamed)) {
    return headers_.put(name.text, value);
  }
  if (isNamed(kContentLength)) {
    readContentLength(value);
  }
  return kOk;
}

// field-line = name ":" value. The line end is overwritten, so that the line is a text; name and
// value become texts where they stand.
int32_t CHTTPRequest::parseHeaderLine(uint8_t* lineEnd) {
  return base::traced("CHTTPRequest::parseHeaderLine", [&] {
    skipWhitespace();
    if (atCursor() > lineEnd) {  // nothing but white space: the scanner went on into the next line
      return kFail;
    }
    *lineEnd = 0;
    const std::string_view line(reinterpret_cast<const char*>(atCursor()));
    const size_t nameLength = std::min(line.find(':'), line.size());
    if (nameLength == 0) {
      return kFail;
    }
    runtime::StringObject name = terminated(trimmed(line.substr(0, nameLength)));
    if (failed(base::bound.strings->Normalise(&name))) {
      return kOutOfMemory;
    }
    const runtime::StringObject value =
        terminated(trimmed(line.substr(std::min(nameLength + 1, line.size()))));
    base::traceFormat(kTraceInfo, kModuleSource, "HTTP Header: %s = %s", name.text, value.text);
    return keepHeader(name, value.text);
  });
}

// A negative value becomes a count that no body can have.
void CHTTPRequest::readContentLength(const char* value) {
  using Limits = std::numeric_limits<int32_t>;  // a long of Windows saturates there
  char* stop = nullptr;
  const long long number = std::strtoll(value, &stop, 10);
  auto length = static_cast<int32_t>(std::clamp<long long>(number, Limits::min(), Limits::max()));
  if (length != 0 && *stop != '\0') {
    base::traceFormat(kTraceInfo, kModuleSource, "Failed to parse HTTP request Content-Length: %s",
                      value);
    length = 0;
  }
  contentLength_ = static_cast<uint64_t>(int64_t{length});
  base::traceFormat(kTraceInfo, kModuleSource, "HTTP request Content-Length: %d", length);
}

// The body is complete at exactly Content-Length bytes; with more it waits for its end at the
// limit.
inline int32_t CHTTPRequest::takeBody(uint64_t count) {
  if (count > kHttpMaxBody) {
    return blockBody(count);
  }
  if (!body_ && contentLength_ != 0) [[likely]] {
    base::traceFormat(kTraceInfo, kModuleSource, "ContentLength %d bytes (len: %d bytes)",
                      static_cast<int>(contentLength_), static_cast<int>(count));
    if (count == contentLength_) {
      return completeBody(count);
    }
  }
  if (const int32_t result = setUnfinished(atCursor(), count); failed(result)) {
    return result;
  }
  if (contentLength_ != 0) {
    return kMoreNeeded;
  }
  dump();
  return kOk;
}

inline int32_t CHTTPRequest::parseBody() {
  return base::traced("CHTTPRequest::parseBody", [&] { return takeBody(remaining()); });
}

int32_t CHTTPRequest::parse(const uint8_t* bytes, uint64_t count) {
  if (bytes == nullptr || count == 0) {
    return kInvalidArgument;
  }
  base::traceFormat(kTraceInfo, kModuleSource, "CHTTPRequest::parse %d bytes (header: %i)",
                    static_cast<int>(count), headerFinished_ ? 1 : 0);
  if (const int32_t result = appendUnfinished(bytes, count); failed(result)) {
    return result;
  }
  cursor_ = 0;
  end_ = pending_.size();
  white_ = dark_ = {};
  traceRaw();
  if (!headerFinished_) {
    if (const int32_t result = parseLines(); result != kOk) {
      return result;
    }
  }
  return parseBody();
}

int32_t CHTTPRequest::completeBody(uint64_t count) {
  if (failed(base::BufferFromBytes(atCursor(), count, body_.put()))) {
    return kOutOfMemory;
  }
  dump();
  return kOk;
}

int32_t CHTTPRequest::blockUnfinishedLine(uint64_t count) const {
  base::traceFormat(kTraceInfo, kModuleSource,
                    "[BLOCK] Request blocked. Headerline too large: %d bytes (accepted: %d bytes)",
                    static_cast<int>(count), static_cast<int>(kHttpMaxUnfinishedLine));
  return kFail;
}

int32_t CHTTPRequest::blockBody(uint64_t count) const {
  base::traceFormat(kTraceInfo, kModuleSource,
                    "[BLOCK] Request blocked. Body too large: %d bytes (accepted: %d bytes)",
                    static_cast<int>(count), static_cast<int>(kHttpMaxBody));
  return kFail;
}

void CHTTPRequest::skipWhitespace() {
  if (white_.holds(cursor_)) {
    cursor_ = white_.end;
    return;
  }
  white_.begin = cursor_;
  while (cursor_ < end_ && base::isInClass(*atCursor(), base::kWhitespace)) {
    ++cursor_;
  }
  white_.end = cursor_;
}

int32_t CHTTPRequest::getBodyData(runtime::ByteBuffer* body) {
  if (body == nullptr) {
    return kInvalidArgument;
  }
  *body = {};
  if (!body_) {
    return kFail;
  }
  *body = *body_.get();
  return kOk;
}

int32_t CHTTPRequest::getHeader(const char* name, char** value) {
  return lookUp(headers_, name, value);
}

int32_t CHTTPRequest::getQueryParameter(const char* name, char** value) {
  return lookUp(queryParameters_, name, value);
}

}  // namespace vexa::webclient
