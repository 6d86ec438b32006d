#include "webclient/http_response.h"

#include <charconv>
#include <utility>

#include "base/buffer.h"
#include "base/trace.h"
#include "webclient/text_pieces.h"

namespace vexa::webclient {
namespace {

using base::kModuleSource;
using base::kTraceInfo;

constexpr char kBanner[] = "****************** HTTP Response ******************";
constexpr std::string_view kLineEnd = "\r\n";
constexpr std::string_view kSeparator = ": ";

// A number as a decimal text, with room for a character behind it.
struct Decimal {
  char text[24];
  char* end;

  explicit Decimal(uint64_t number) : end(std::to_chars(text, text + 20, number).ptr) {}
  std::string_view view() const { return {text, static_cast<size_t>(end - text)}; }
};

std::string_view orEmpty(const char* text) {
  return text != nullptr ? std::string_view(text) : std::string_view();
}

const base::InterfaceMapRow kMap[] = {
    base::mapRow<CHTTPResponse, IHTTPResponse>(IID_IHTTPResponse),
    base::mapEnd(),
};

}  // namespace

const base::InterfaceMapRow* CHTTPResponse::InterfaceMap() { return kMap; }

int32_t CHTTPResponse::FinalConstruct() {
  const int32_t result = setProtocol("HTTP/1.1");
  if (failed(result)) {
    return result;
  }
  return setStatus(200, nullptr) == kOutOfMemory ? kOutOfMemory : kOk;
}

int32_t CHTTPResponse::setStatus(uint32_t code, const char* reason) {
  if (code > kHttpMaxStatus) {
    return kFail;
  }
  Decimal number(code);
  *number.end++ = ' ';
  if (failed(statusText_.assign(number.view(),
                                orEmpty(reason != nullptr ? reason : reasonPhrase(code))))) {
    return kOutOfMemory;
  }
  statusCode_ = code;
  return kNotImplemented;  // also on success: callers know it so
}

int32_t CHTTPResponse::setProtocol(const char* protocol) {
  return protocol_.assign(orEmpty(protocol));
}

int32_t CHTTPResponse::setBody(const char* body) {
  const std::string_view text = orEmpty(body);
  auto block = text.empty() ? base::RootBlock<char>() : base::RootBlock<char>::ofBytes(text.size());
  if (!block && !text.empty()) {
    return kOutOfMemory;
  }
  append(block.get(), text);
  body_ = std::move(block);
  bodyLength_ = text.size();
  return kOk;
}

int32_t CHTTPResponse::addHeader(const char* name, const char* value) {
  if (name == nullptr || value == nullptr) {
    return kFail;
  }
  return addLine(trimmed(name), trimmed(value));
}

int32_t CHTTPResponse::addLine(std::string_view name, std::string_view value) {
  const uint64_t before = headers_.size();
  const uint64_t length = name.size() + kSeparator.size() + value.size() + kLineEnd.size();
  if (const int32_t result = headers_.resize(before + length); failed(result)) {
    return result;
  }
  char* out = append(headers_.data() + before, name);
  out = append(out, kSeparator);
  out = append(out, value);
  append(out, kLineEnd);
  return kOk;
}

int32_t CHTTPResponse::serialize(uint8_t** buffer, uint64_t* size) {
  if (buffer == nullptr || size == nullptr) {
    return kNullPointer;
  }
  if (const int32_t result = addLine("Content-Length", Decimal(bodyLength_).view());
      failed(result)) {
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
  return protocol_.view().size() + 1 + statusText_.view().size() + kLineEnd.size() +
         headers_.size() + kLineEnd.size() + bodyLength_;
}

// status-line *( field-line CRLF ) CRLF [ message-body ]
uint8_t* CHTTPResponse::write(uint8_t* out) const {
  out = append(out, protocol_.view());
  out = append(out, " ");
  out = append(out, statusText_.view());
  out = append(out, kLineEnd);
  out = append(out, {headers_.data(), headers_.size()});
  out = append(out, kLineEnd);
  return append(out, {body_.get(), bodyLength_});
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
