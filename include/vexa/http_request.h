#pragma once

#include "vexa/component.h"
#include "vexa/runtime/records.h"

namespace vexa {

inline constexpr char kHttpRequestClassName[] = "vexa.webclient.http.request";

// {5A1E7C34-0F8B-4D26-9C71-B3E2486D0FA7}
inline constexpr Guid IID_IHTTPRequest{
    0x5A1E7C34, 0x0F8B, 0x4D26, {0x9C, 0x71, 0xB3, 0xE2, 0x48, 0x6D, 0x0F, 0xA7}};

// A header line may be this long while its end has not come; one that comes whole may be longer.
inline constexpr uint64_t kHttpMaxUnfinishedLine = 1024;
inline constexpr uint64_t kHttpMaxBody = 1048576;

// An HTTP/1.x request (RFC 9112) read in pieces; class "vexa.webclient.http.request", a new object
// for each request. Of the headers it keeps Origin, Referer and the value of Content-Length.
// Texts that getters return belong to the request until its next parse(); they are never null.
// Names of headers and parameters match in any letter case. One thread at a time.
class IHTTPRequest : public IComponent {
 public:
  // Slot 3. Takes `count` more bytes. kOk: complete. kMoreNeeded: feed on. kInvalidArgument: null
  // or no bytes. kFail: over a limit, the caller drops the connection. kOutOfMemory: likewise.
  // Lines that cannot be read are dropped; a request without a line that can be read has an empty
  // URI. It completes when exactly as many body bytes as announced are there.
  virtual int32_t parse(const uint8_t* bytes, uint64_t count) = 0;
  virtual const char* getMethod() = 0;           // slot 4: upper case
  virtual const char* getURI() = 0;              // slot 5: decoded, with its query
  virtual const char* getPath() = 0;             // slot 6: the URI before the first "?"
  virtual const char* getProtocolVersion() = 0;  // slot 7
  // Slot 8. The body's bytes, a zero byte behind them; null without a body.
  virtual const uint8_t* getBody() = 0;
  // Slot 9. Length and bytes, which belong to the request. kInvalidArgument: null. kFail: no body.
  virtual int32_t getBodyData(runtime::ByteBuffer* body) = 0;
  virtual bool hasBody() = 0;  // slot 10
  // Slots 11 and 12. *value is a text of the caller's, freed with the root list's Free. kFail:
  // absent, or an argument is null; *value is null then. kOutOfMemory.
  virtual int32_t getHeader(const char* name, char** value) = 0;
  virtual int32_t getQueryParameter(const char* name, char** value) = 0;
  // Slot 13. Destroys the object; bit 0 of `flags` frees its memory too. Only Release calls it.
  virtual void* DeletingDestructor(uint32_t flags) = 0;

  // The parser's own steps.

  // Slot 14. The bytes up to the separator, wherever in the pending bytes it comes next, replace
  // the text of `out`. kFail: it does not come. kOutOfMemory.
  virtual int32_t readToken(const char* separator, runtime::StringObject* out) = 0;
  // Slot 15. Whether getMethod() is OPTIONS, GET, HEAD, POST, PUT, DELETE, TRACE or CONNECT.
  virtual bool isMethodAllowed() = 0;
  // Slot 16. Adds to the pending bytes. kOutOfMemory.
  virtual int32_t appendUnfinished(const uint8_t* bytes, uint64_t count) = 0;
  // Slot 17. Replaces the pending bytes, by some of their own or others. kOutOfMemory.
  virtual int32_t setUnfinished(const uint8_t* bytes, uint64_t count) = 0;

 protected:
  ~IHTTPRequest() = default;
};
template <>
struct InterfaceTraits<IHTTPRequest> {
  static constexpr Guid kId = IID_IHTTPRequest;
};
template <>
struct ClassTraits<IHTTPRequest> {
  static constexpr const char* kName = kHttpRequestClassName;
  static constexpr bool kIsSingleton = false;
};

}  // namespace vexa
