#pragma once

#include "vexa/component.h"

namespace vexa {

inline constexpr char kHttpResponseClassName[] = "vexa.webclient.http.response";

// {E83D2B61-7A45-4C9F-8B10-52F6C7D9A034}
inline constexpr Guid IID_IHTTPResponse{
    0xE83D2B61, 0x7A45, 0x4C9F, {0x8B, 0x10, 0x52, 0xF6, 0xC7, 0xD9, 0xA0, 0x34}};

inline constexpr uint32_t kHttpMaxStatus = 1000;

// An HTTP/1.1 response (RFC 9112); class "vexa.webclient.http.response", a new object for each. A
// fresh one is "HTTP/1.1 200 OK" without a body. All texts are copied. One thread at a time.
class IHTTPResponse : public IComponent {
 public:
  // Slot 3. Writes the response, with Content-Length as its last header, into the caller's block of
  // the root list (*buffer may be null), which is reallocated when *size bytes are too few. *size
  // becomes the exact length; no terminating zero. kOutOfMemory: *buffer and *size stay.
  // kNullPointer: a null argument. Once per response: each call adds a Content-Length.
  virtual int32_t serialize(uint8_t** buffer, uint64_t* size) = 0;
  // Slot 4. With a null reason, the usual one for the code (none for a code that has none).
  // kNotImplemented: the status was set; callers ignore it. kFail: a code above kHttpMaxStatus,
  // nothing changed. kOutOfMemory.
  virtual int32_t setStatus(uint32_t code, const char* reason) = 0;
  virtual uint32_t getStatusCode() = 0;                   // slot 5
  virtual int32_t setProtocol(const char* protocol) = 0;  // slot 6: kOk, kOutOfMemory
  virtual int32_t setBody(const char* body) = 0;          // slot 7: kOk, kOutOfMemory
  // Slot 8. Adds a header at the end, white space around both cut off. kFail: a null argument.
  // kOutOfMemory: when the list could not grow, all headers are gone.
  virtual int32_t addHeader(const char* name, const char* value) = 0;
  // Slot 9. Destroys the object; bit 0 of `flags` frees its memory too. Only Release calls it.
  virtual void* DeletingDestructor(uint32_t flags) = 0;

 protected:
  ~IHTTPResponse() = default;
};
template <>
struct InterfaceTraits<IHTTPResponse> {
  static constexpr Guid kId = IID_IHTTPResponse;
};
template <>
struct ClassTraits<IHTTPResponse> {
  static constexpr const char* kName = kHttpResponseClassName;
  static constexpr bool kIsSingleton = false;
};

}  // namespace vexa
