#include "webclient/http_request.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string_view>

#include "base/char_classes.h"
#include "base/heap.h"
#include "base/text.h"
#include "base/trace.h"

namespace vexa::webclient {
namespace {

using base::kModuleSource;
using base::kTraceInfo;
using base::String;

constexpr uint64_t kTableBuckets = 257;
constexpr const char* kMethods[] = {"OPTIONS", "GET",    "HEAD",  "POST",
                                    "PUT",     "DELETE", "TRACE", "CONNECT"};
constexpr std::string_view kKeptHeaders[] = {"Referer", "Origin"};
constexpr std::string_view kContentLength = "Content-Length";

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
  String key;
  if (failed(key.assign(name)) || failed(key.normalise())) {
    return kOutOfMemory;
  }
  const int32_t result = table.get(key.text(), value);
  return result == kOk || result == kOutOfMemory ? result : kFail;
}

}  // namespace

const base::InterfaceMapRow* CHTTPRequest::InterfaceMap() {
  static const base::InterfaceMapRow map[] = {
      base::mapRow<CHTTPRequest, IHTTPRequest>(IID_IHTTPRequest),
      base::mapEnd(),
  };
  return map;
}

int32_t CHTTPRequest::FinalConstruct() {
  const int32_t result = queryParameters_.create(kTableBuckets);
  return failed(result) ? result : headers_.create(kTableBuckets);
}

CHTTPRequest::~CHTTPRequest() { base::freeBlock(pending_); }

int32_t CHTTPRequest::parse(const uint8_t* bytes, uint64_t count) {
  if (bytes == nullptr || count == 0) {
    return kInvalidArgument;
  }
  base::traceFormat(kTraceInfo, kModuleSource, "CHTTPRequest::parse %d bytes (header: %i)",
                    static_cast<int>(count), headerFinished_ ? 1 : 0);
  if (const int32_t result = appendUnfinished(bytes, count); failed(result)) {
    return result;
  }
  cursor_ = pending_;
  end_ = cursor_ + used_;
  endReached_ = false;
  traceRaw();
  if (!headerFinished_) {
    if (const int32_t result = parseLines(); result != kOk) {
      return result;
    }
  }
  return parseBody();
}

// Reads complete lines until the empty one. kMoreNeeded: it has not come yet.
int32_t CHTTPRequest::parseLines() {
  while (!headerFinished_) {
    uint8_t* const lineEnd = findLineEnd(cursor_, end_);
    if (lineEnd == nullptr) {
      const uint64_t count = remaining();
      if (count > kHttpMaxUnfinishedLine) {
        return blockUnfinishedLine(count);
      }
      const int32_t result = setUnfinished(cursor_, count);
      return failed(result) ? result : kMoreNeeded;
    }
    if (parseLine(lineEnd) == kOutOfMemory) {
      return kOutOfMemory;
    }
    cursor_ = lineEnd + 2;
  }
  return kOk;
}

// As long as there is no URI, every line is taken for the request line.
int32_t CHTTPRequest::parseLine(uint8_t* lineEnd) {
  if (cursor_ == lineEnd) {
    headerFinished_ = true;
    base::traceText(kTraceInfo, kModuleSource, "CHTTPRequest::header finished");
    return kOk;
  }
  return uri_.empty() ? parseRequestLine(cursor_) : parseHeaderLine(cursor_, lineEnd);
}

// request-line = method SP request-target SP HTTP-version CRLF. A missing blank takes the token
// from later lines.
int32_t CHTTPRequest::parseRequestLine(uint8_t* start) {
  base::TraceScope scope("CHTTPRequest::parseRequestLine");
  cursor_ = start;
  skipWhitespace();
  if (const int32_t result = readToken(" ", method_.get()); failed(result)) {
    return scope.leave(result);
  }
  if (failed(method_.normalise())) {
    return scope.leave(kOutOfMemory);
  }
  if (!isMethodAllowed()) {
    return scope.leave(kFail);
  }
  if (const int32_t result = readToken(" ", uri_.get()); failed(result)) {
    return scope.leave(result);
  }
  if (failed(uri_.decode()) || failed(parseURI())) {
    return scope.leave(kOutOfMemory);
  }
  if (const int32_t result = readToken("\r\n", protocolVersion_.get()); failed(result)) {
    return scope.leave(result);
  }
  base::traceFormat(kTraceInfo, kModuleSource,
                    "Request String parsed: method: %s, uri: %s, protocol version: %s",
                    method_.text(), uri_.text(), protocolVersion_.text());
  return scope.leave(kOk);
}

int32_t CHTTPRequest::readToken(const char* separator, runtime::StringObject* out) {
  const std::string_view rest(reinterpret_cast<const char*>(cursor_), remaining());
  const size_t found = rest.find(separator);
  if (found == std::string_view::npos) {
    return kFail;
  }
  if (failed(base::bound.strings->AssignBytes(out, rest.data(), found))) {
    return kOutOfMemory;
  }
  cursor_ += found + std::strlen(separator);
  return kOk;
}

bool CHTTPRequest::isMethodAllowed() {
  return std::any_of(std::begin(kMethods), std::end(kMethods),
                     [this](const char* method) { return method_.equalsText(method); });
}

// path [ "?" pair *( "&" pair ) ], pair = key "=" value
int32_t CHTTPRequest::parseURI() {
  base::TraceScope scope("CHTTPRequest::parseURI");
  if (uri_.empty()) {
    return scope.leave(kOk);
  }
  String query;
  if (failed(uri_.splitFirst("?", path_, query))) {
    return scope.leave(kOutOfMemory);
  }
  while (!query.empty()) {
    String pair;
    if (failed(query.splitFirst("&", pair, query)) ||
        (!pair.empty() && failed(addQueryPair(pair)))) {
      return scope.leave(kOutOfMemory);
    }
  }
  return scope.leave(kOk);
}

int32_t CHTTPRequest::addQueryPair(String& pair) {
  String key;
  String value;
  if (failed(pair.splitFirst("=", key, value)) || failed(key.trim()) || failed(value.trim()) ||
      failed(key.normalise()) || failed(queryParameters_.put(key.text(), value.text()))) {
    return kOutOfMemory;
  }
  base::traceFormat(kTraceInfo, kModuleSource, "Query string parsed: %s", pair.text());
  return kOk;
}

// field-line = name ":" value. The line end is overwritten, so that the line is a text.
int32_t CHTTPRequest::parseHeaderLine(uint8_t* start, uint8_t* lineEnd) {
  base::TraceScope scope("CHTTPRequest::parseHeaderLine");
  cursor_ = start;
  skipWhitespace();
  if (cursor_ > lineEnd) {  // nothing but white space: the scanner went on into the next line
    return scope.leave(kFail);
  }
  *lineEnd = 0;
  auto* const text = reinterpret_cast<char*>(cursor_);
  const runtime::StringObject line{text, std::strlen(text)};  // borrows the pending bytes
  String name;
  String value;
  if (failed(base::bound.strings->SplitFirst(&line, ":", name.get(), value.get()))) {
    return scope.leave(kOutOfMemory);
  }
  if (name.empty()) {
    return scope.leave(kFail);
  }
  if (failed(name.trim()) || failed(name.normalise()) || failed(value.trim())) {
    return scope.leave(kOutOfMemory);
  }
  base::traceFormat(kTraceInfo, kModuleSource, "HTTP Header: %s = %s", name.text(), value.text());
  return scope.leave(keepHeader(name, value));
}

int32_t CHTTPRequest::keepHeader(const String& name, const String& value) {
  const uint64_t length = name.length();
  const auto isNamed = [&](std::string_view other) {
    return length == other.size() && name.equalsText(other.data());
  };
  if (std::any_of(std::begin(kKeptHeaders), std::end(kKeptHeaders), isNamed)) {
    return failed(headers_.put(name.text(), value.text())) ? kOutOfMemory : kOk;
  }
  if (isNamed(kContentLength)) {
    readContentLength(value);
  }
  return kOk;
}

// A negative value becomes a count that no body can have.
void CHTTPRequest::readContentLength(const String& value) {
  using Limits = std::numeric_limits<int32_t>;  // a long of Windows saturates there
  char* stop = nullptr;
  const long long number = std::strtoll(value.text(), &stop, 10);
  auto length = static_cast<int32_t>(std::clamp<long long>(number, Limits::min(), Limits::max()));
  if (length != 0 && *stop != '\0') {
    base::traceFormat(kTraceInfo, kModuleSource, "Failed to parse HTTP request Content-Length: %s",
                      value.text());
    length = 0;
  }
  contentLength_ = static_cast<uint64_t>(int64_t{length});
  base::traceFormat(kTraceInfo, kModuleSource, "HTTP request Content-Length: %d", length);
}

// The body is complete at exactly Content-Length bytes; with more it waits for its end at the
// limit.
int32_t CHTTPRequest::parseBody() {
  base::TraceScope scope("CHTTPRequest::parseBody");
  const uint64_t count = remaining();
  if (!body_ && contentLength_ != 0) {
    if (count > kHttpMaxBody) {
      return scope.leave(blockBody(count));
    }
    base::traceFormat(kTraceInfo, kModuleSource, "ContentLength %d bytes (len: %d bytes)",
                      static_cast<int>(contentLength_), static_cast<int>(count));
    if (count == contentLength_) {
      if (failed(base::BufferFromBytes(cursor_, count, body_.put()))) {
        return scope.leave(kOutOfMemory);
      }
      dump();
      return scope.leave(kOk);
    }
  }
  if (count > kHttpMaxBody) {
    return scope.leave(blockBody(count));
  }
  if (const int32_t result = setUnfinished(cursor_, count); failed(result)) {
    return scope.leave(result);
  }
  if (contentLength_ != 0) {
    return scope.leave(kMoreNeeded);
  }
  dump();
  return scope.leave(kOk);
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

int CHTTPRequest::peek() {
  if (cursor_ >= end_) {
    endReached_ = true;
    return base::kEndOfText;
  }
  return *cursor_;
}

void CHTTPRequest::skipWhitespace() {
  for (int c = peek();
       c != base::kEndOfText && base::isInClass(static_cast<uint8_t>(c), base::kWhitespace);
       c = peek()) {
    ++cursor_;
  }
}

int32_t CHTTPRequest::reserve(uint64_t capacity) {
  if (capacity_ >= capacity) {
    return kOk;
  }
  const bool isParsing = cursor_ != nullptr;
  const int64_t consumed = isParsing ? cursor_ - pending_ : 0;
  const int64_t length = isParsing ? end_ - pending_ : 0;
  auto* const grown = static_cast<uint8_t*>(base::reallocate(pending_, capacity));
  if (grown == nullptr) {
    return kOutOfMemory;
  }
  if (isParsing) {  // the steps may be called one by one, so the positions follow the bytes
    cursor_ = grown + consumed;
    end_ = grown + length;
  }
  pending_ = grown;
  capacity_ = capacity;
  return kOk;
}

int32_t CHTTPRequest::appendUnfinished(const uint8_t* bytes, uint64_t count) {
  if (count > UINT64_MAX - used_ || failed(reserve(used_ + count))) {
    return kOutOfMemory;
  }
  if (count != 0) {
    std::memcpy(pending_ + used_, bytes, count);
  }
  used_ += count;
  traceUnfinished();
  return kOk;
}

int32_t CHTTPRequest::setUnfinished(const uint8_t* bytes, uint64_t count) {
  if (failed(reserve(count))) {  // bytes of our own never need more room
    return kOutOfMemory;
  }
  if (count != 0) {
    std::memmove(pending_, bytes, count);
  }
  used_ = count;
  traceUnfinished();
  return kOk;
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
