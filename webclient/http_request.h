#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

#include "base/buffer.h"
#include "base/com_object.h"
#include "base/root_vector.h"
#include "base/string.h"
#include "base/trace.h"
#include "collections/text_table.h"
#include "vexa/http_request.h"
#include "webclient/short_text.h"

namespace vexa::webclient {

class CHTTPRequest : public IHTTPRequest,
                     public base::CFactoryImpl<CHTTPRequest>,
                     public base::CComObjectRoot {
 public:
  static const base::InterfaceMapRow* InterfaceMap();

  CHTTPRequest() = default;
  CHTTPRequest(const CHTTPRequest&) = delete;
  CHTTPRequest& operator=(const CHTTPRequest&) = delete;

  int32_t parse(const uint8_t* bytes, uint64_t count) override;
  const char* getMethod() override { return method_.text(); }
  const char* getURI() override { return uri_.text(); }
  const char* getPath() override { return target_ ? target_.get() : ""; }
  const char* getProtocolVersion() override { return protocolVersion_.text(); }
  const uint8_t* getBody() override { return body_ ? body_->data : nullptr; }
  int32_t getBodyData(runtime::ByteBuffer* body) override;
  bool hasBody() override { return static_cast<bool>(body_); }
  int32_t getHeader(const char* name, char** value) override;
  int32_t getQueryParameter(const char* name, char** value) override;
  int32_t readToken(const char* separator, runtime::StringObject* out) override;
  bool isMethodAllowed() override;
  int32_t appendUnfinished(const uint8_t* bytes, uint64_t count) override;
  int32_t setUnfinished(const uint8_t* bytes, uint64_t count) override;

 protected:
  ~CHTTPRequest() = default;

 private:
  static constexpr uint64_t kTableBuckets = 257;

  // Lines that cannot be read answer kFail and are dropped; kOutOfMemory ends the parse.
  int32_t parseLines();
  int32_t waitForLineEnd();
  int32_t parseLine(uint8_t* lineEnd);
  int32_t parseRequestLine();
  int32_t takeMethod(std::string_view token);
  int32_t takeUri(std::string_view token);
  int32_t parseURI();
  int32_t parseQuery(char* pairs, char* parts, uint64_t length);
  int32_t addQueryPair(const char* pair, std::string_view parts);
  int32_t parseHeaderLine(uint8_t* lineEnd);
  [[gnu::always_inline]] int32_t keepHeader(const runtime::StringObject& name, const char* value);
  void readContentLength(const char* value);
  [[gnu::always_inline]] int32_t parseBody();
  [[gnu::always_inline]] int32_t takeBody(uint64_t count);
  int32_t completeBody(uint64_t count);
  int32_t blockUnfinishedLine(uint64_t count) const;
  int32_t blockBody(uint64_t count) const;

  void skipWhitespace();
  uint8_t* atCursor() const { return pending_.data() + cursor_; }
  uint64_t remaining() const { return end_ - cursor_; }
  bool takeToken(std::string_view separator, std::string_view& token);
  bool takeWord(std::string_view& token);

  // The trace is asked whether it is on; only then is there something to write.
  void traceUnfinished() const {
    if (base::isTraceOn(base::kTraceNotice, base::kModuleSource)) {
      writeUnfinished();
    }
  }
  void traceRaw() const {
    if (base::isTraceOn(base::kTraceInfo, base::kModuleSource)) {
      writeRaw();
    }
  }
  void dump() {
    if (base::isTraceOn(base::kTraceInfo, base::kModuleSource)) {
      writeAll();
    }
  }
  [[gnu::cold]] void writeUnfinished() const;
  [[gnu::cold]] void writeRaw() const;
  [[gnu::cold]] void writeAll();
  void dumpTable(const char* title, const collections::TextTable& table) const;

  // Pending bytes that were looked at, and of which none is what was looked for.
  struct Searched {
    uint64_t begin = 0;
    uint64_t end = 0;
    bool holds(uint64_t at) const { return begin <= at && at < end; }
  };

  uint64_t cursor_ = 0;  // of the pending bytes, the first one that is not consumed
  uint64_t end_ = 0;
  base::RootVector<uint8_t> pending_;
  uint64_t searched_ = 0;           // so many pending bytes are known to begin no line end
  Searched white_;                  // nothing but white space
  Searched dark_;                   // no blank
  std::string_view refusedMethod_;  // of the pending bytes; becomes the method if no other comes
  bool headerFinished_ = false;
  ShortText<16> method_;
  base::String uri_;
  base::RootBlock<char> target_;  // the path, and behind it the texts of the parameters
  collections::TextTable queryParameters_{collections::TextTable::Items::kBorrowed, kTableBuckets};
  ShortText<16> protocolVersion_;
  collections::TextTable headers_{collections::TextTable::Items::kCopied, kTableBuckets};
  uint64_t contentLength_ = 0;
  base::Buffer body_;
};

// Each piece takes these steps, so they are to be had where they are called.
inline int32_t CHTTPRequest::appendUnfinished(const uint8_t* bytes, uint64_t count) {
  const uint64_t used = pending_.size();
  if (count > UINT64_MAX - used || failed(pending_.resize(used + count))) {
    return kOutOfMemory;
  }
  if (count != 0) {
    std::memcpy(pending_.data() + used, bytes, count);
  }
  traceUnfinished();
  return kOk;
}

inline int32_t CHTTPRequest::setUnfinished(const uint8_t* bytes, uint64_t count) {
  if (failed(pending_.resize(count))) {  // bytes of our own need no more room, and stay
    return kOutOfMemory;
  }
  if (count != 0 && bytes != pending_.data()) [[unlikely]] {
    std::memmove(pending_.data(), bytes, count);
  }
  searched_ = 0;
  traceUnfinished();
  return kOk;
}

}  // namespace vexa::webclient
