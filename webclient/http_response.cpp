#include "webclient/http_response.h"

#include <charconv>
#include <cstring>
#include <new>

#include "base/buffer.h"
#include "base/heap.h"
#include "base/trace.h"

namespace vexa::webclient {
namespace {

using base::kModuleSource;
using base::kTraceInfo;

constexpr char kBanner[] = "****************** HTTP Response ******************";
constexpr std::string_view kLineEnd = "\r\n";
constexpr std::string_view kSeparator = ": ";

// A number as a zero-terminated decimal text, with room for what follows it.
struct Decimal {
  char text[24] = {};
  char* end;

  explicit Decimal(uint64_t number) : end(std::to_chars(text, text + 20, number).ptr) {}
};

uint8_t* append(uint8_t* out, std::string_view text) {
  if (!text.empty()) {
    std::memcpy(out, text.data(), text.size());
  }
  return out + text.size();
}

}  // namespace

const base::InterfaceMapRow* CHTTPResponse::InterfaceMap() {
  static const base::InterfaceMapRow map[] = {
      base::mapRow<CHTTPResponse, IHTTPResponse>(IID_IHTTPResponse),
      base::mapEnd(),
  };
  return map;
}

int32_t CHTTPResponse::FinalConstruct() {
  const int32_t result = setProtocol("HTTP/1.1");
  if (failed(result)) {
    return result;
  }
  return setStatus(200, nullptr) == kOutOfMemory ? kOutOfMemory : kOk;
}

CHTTPResponse::~CHTTPResponse() {
  dropHeaders();
  base::freeBlock(headers_);
}

int32_t CHTTPResponse::setStatus(uint32_t code, const char* reason) {
  if (code > kHttpMaxStatus) {
    return kFail;
  }
  Decimal number(code);
  *number.end = ' ';
  if (reason == nullptr) {
    reason = reasonPhrase(code);
  }
  base::String text;
  if (failed(text.assign(number.text)) || (reason != nullptr && failed(text.append(reason)))) {
    return kOutOfMemory;
  }
  statusText_ = std::move(text);
  statusCode_ = code;
  return kNotImplemented;  // also on success: callers know it so
}

int32_t CHTTPResponse::setProtocol(const char* protocol) {
  return failed(protocol_.assign(protocol)) ? kOutOfMemory : kOk;
}

int32_t CHTTPResponse::setBody(const char* body) {
  return failed(body_.assign(body)) ? kOutOfMemory : kOk;
}

int32_t CHTTPResponse::addHeader(const char* name, const char* value) {
  if (name == nullptr || value == nullptr) {
    return kFail;
  }
  Header header;
  if (failed(header.name.assign(name)) || failed(header.name.trim()) ||
      failed(header.value.assign(value)) || failed(header.value.trim())) {
    return kOutOfMemory;
  }
  void* const grown = base::reallocate(headers_, (headerCount_ + 1) * sizeof(Header));
  if (grown == nullptr) {
    dropHeaders();
    return kOutOfMemory;
  }
  headers_ = static_cast<Header*>(grown);
  new (&headers_[headerCount_]) Header(std::move(header));
  ++headerCount_;
  return kOk;
}

void CHTTPResponse::dropHeaders() {
  for (uint64_t i = 0; i < headerCount_; ++i) {
    headers_[i].~Header();
  }
  headerCount_ = 0;
}

int32_t CHTTPResponse::serialize(uint8_t** buffer, uint64_t* size) {
  if (buffer == nullptr || size == nullptr) {
    return kNullPointer;
  }
  const Decimal bodyLength(body_.length());
  if (const int32_t result = addHeader("Content-Length", bodyLength.text); failed(result)) {
    return result;
  }
  const uint64_t total = totalLength();
  if (total > *size || *buffer == nullptr) {
    auto* const grown = static_cast<uint8_t*>(base::reallocate(*buffer, total));
    if (grown == nullptr) {
      return kOutOfMemory;
    }
    *buffer = grown;
  }
  const uint8_t* const end = write(*buffer);
  if (static_cast<uint64_t>(end - *buffer) != total) {
    base::traceText(base::kTraceError, nullptr, "HTTP Response length is not equal");
  }
  *size = total;
  dump(*buffer, total);
  return kOk;
}

uint64_t CHTTPResponse::totalLength() const {
  uint64_t total = protocol_.length() + statusText_.length() + 1 + kLineEnd.size();
  for (uint64_t i = 0; i < headerCount_; ++i) {
    total += headers_[i].name.length() + kSeparator.size() + headers_[i].value.length() +
             kLineEnd.size();
  }
  return total + kLineEnd.size() + body_.length();
}

// status-line *( field-line CRLF ) CRLF [ message-body ]
uint8_t* CHTTPResponse::write(uint8_t* out) const {
  out = append(out, protocol_.view());
  out = append(out, " ");
  out = append(out, statusText_.view());
  out = append(out, kLineEnd);
  for (uint64_t i = 0; i < headerCount_; ++i) {
    out = append(out, headers_[i].name.view());
    out = append(out, kSeparator);
    out = append(out, headers_[i].value.view());
    out = append(out, kLineEnd);
  }
  out = append(out, kLineEnd);
  return append(out, body_.view());
}

void CHTTPResponse::dump(const uint8_t* text, uint64_t length) const {
  if (text == nullptr || length == 0 || !base::isTraceOn(kTraceInfo, kModuleSource)) {
    return;
  }
  base::traceText(kTraceInfo, kModuleSource, kBanner);
  base::Buffer copy;  // the response itself has no terminator
  if (succeeded(base::BufferFromBytes(text, length, copy.put()))) {
    base::traceText(kTraceInfo, kModuleSource, reinterpret_cast<const char*>(copy->data));
  }
  base::traceText(kTraceInfo, kModuleSource, kBanner);
}

}  // namespace vexa::webclient
