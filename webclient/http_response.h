#pragma once

#include <cstdint>
#include <string_view>

#include "base/com_object.h"
#include "base/root_vector.h"
#include "vexa/http_response.h"
#include "webclient/short_text.h"

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
  ~CHTTPResponse() = default;

 private:
  int32_t addLine(std::string_view name, std::string_view value);
  uint64_t totalLength() const;
  uint8_t* write(uint8_t* out) const;
  void dump(const uint8_t* text, uint64_t length) const;

  ShortText<16> protocol_;
  ShortText<40> statusText_;  // room for all usual reasons
  uint32_t statusCode_ = 0;
  // The lines as they are written, each with its end. When they cannot grow, all of them are gone.
  base::RootVector<char, base::GrowExactly, base::OnGrowthFailure::kDrop> headers_;
  base::RootBlock<char> body_;
  uint64_t bodyLength_ = 0;
};

// The usual reason phrase of a status code, or null.
const char* reasonPhrase(uint32_t code);

}  // namespace vexa::webclient
