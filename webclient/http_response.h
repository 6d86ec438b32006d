#pragma once

#include <cstdint>
#include <string_view>

#include "base/com_object.h"
#include "base/string.h"
#include "vexa/http_response.h"

namespace vexa::webclient {

class CHTTPResponse : public IHTTPResponse,
                      public base::CFactoryImpl<CHTTPResponse>,
                      public base::CComObjectRoot {
 public:
  static const base::InterfaceMapRow* InterfaceMap();

  CHTTPResponse() = default;
  CHTTPResponse(const CHTTPResponse&) = delete;
  CHTTPResponse& operator=(const CHTTPResponse&) = delete;
  int32_t FinalConstruct();

  int32_t serialize(uint8_t** buffer, uint64_t* size) override;
  int32_t setStatus(uint32_t code, const char* reason) override;
  uint32_t getStatusCode() override { return statusCode_; }
  int32_t setProtocol(const char* protocol) override;
  int32_t setBody(const char* body) override;
  int32_t addHeader(const char* name, const char* value) override;

 protected:
  ~CHTTPResponse();

 private:
  // In an array from the root list, which moves when it grows.
  struct Header {
    base::String name;
    base::String value;
  };

  uint64_t totalLength() const;
  uint8_t* write(uint8_t* out) const;
  void dropHeaders();
  void dump(const uint8_t* text, uint64_t length) const;

  base::String protocol_;
  base::String statusText_;
  uint32_t statusCode_ = 0;
  Header* headers_ = nullptr;
  uint64_t headerCount_ = 0;
  base::String body_;
};

// The usual reason phrase of a status code, or null.
const char* reasonPhrase(uint32_t code);

}  // namespace vexa::webclient
