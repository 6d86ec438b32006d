#pragma once

#include <cstdint>
#include <span>

#include "base/buffer.h"
#include "base/com_object.h"
#include "base/string.h"
#include "collections/hash_table.h"
#include "vexa/http_request.h"

namespace vexa::webclient {

class CHTTPRequest : public IHTTPRequest,
                     public base::CFactoryImpl<CHTTPRequest>,
                     public base::CComObjectRoot {
 public:
  static const base::InterfaceMapRow* InterfaceMap();

  CHTTPRequest() = default;
  CHTTPRequest(const CHTTPRequest&) = delete;
  CHTTPRequest& operator=(const CHTTPRequest&) = delete;
  int32_t FinalConstruct();

  int32_t parse(const uint8_t* bytes, uint64_t count) override;
  const char* getMethod() override { return method_.text(); }
  const char* getURI() override { return uri_.text(); }
  const char* getPath() override { return path_.text(); }
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
  ~CHTTPRequest();

 private:
  // Lines that cannot be read answer kFail and are dropped; kOutOfMemory ends the parse.
  int32_t parseLines();
  int32_t parseLine(uint8_t* end);
  int32_t parseRequestLine(uint8_t* start);
  int32_t parseURI();
  int32_t addQueryPair(base::String& pair);
  int32_t parseHeaderLine(uint8_t* start, uint8_t* end);
  int32_t keepHeader(const base::String& name, const base::String& value);
  void readContentLength(const base::String& value);
  int32_t parseBody();
  int32_t blockUnfinishedLine(uint64_t count) const;
  int32_t blockBody(uint64_t count) const;

  // The scanner: what stands at the cursor, or kEndOfText, which also sets the flag.
  int peek();
  void skipWhitespace();
  uint64_t remaining() const { return static_cast<uint64_t>(end_ - cursor_); }

  int32_t reserve(uint64_t capacity);
  void traceUnfinished() const;
  void traceRaw() const;
  void dump();
  void dumpTable(const char* title, const collections::TextTable& table) const;

  bool endReached_ = false;
  uint8_t* cursor_ = nullptr;  // first byte not consumed
  uint8_t* end_ = nullptr;
  uint8_t* pending_ = nullptr;
  uint64_t used_ = 0;
  uint64_t capacity_ = 0;
  bool headerFinished_ = false;
  base::String method_;
  base::String uri_;
  base::String path_;
  collections::TextTable queryParameters_;
  base::String protocolVersion_;
  collections::TextTable headers_;
  uint64_t contentLength_ = 0;
  base::Buffer body_;
};

}  // namespace vexa::webclient
