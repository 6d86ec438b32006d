#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/raw_reference.h"
#include "support/spy_runtime.h"
#include "vexa/http_request.h"
#include "vexa/http_response.h"

namespace vexa::test {

// IHTTPRequest by the numbers of its slots.
class RawRequest : public RawReference {
 public:
  using RawReference::RawReference;

  int32_t parse(const uint8_t* bytes, uint64_t count) const {
    return call<int32_t>(get(), 3, bytes, count);
  }
  const char* getMethod() const { return call<const char*>(get(), 4); }
  const char* getURI() const { return call<const char*>(get(), 5); }
  const char* getPath() const { return call<const char*>(get(), 6); }
  const char* getProtocolVersion() const { return call<const char*>(get(), 7); }
  const uint8_t* getBody() const { return call<const uint8_t*>(get(), 8); }
  int32_t getBodyData(runtime::ByteBuffer* body) const { return call<int32_t>(get(), 9, body); }
  bool hasBody() const { return call<bool>(get(), 10); }
  int32_t getHeader(const char* name, char** value) const {
    return call<int32_t>(get(), 11, name, value);
  }
  int32_t getQueryParameter(const char* name, char** value) const {
    return call<int32_t>(get(), 12, name, value);
  }
  int32_t readToken(const char* separator, runtime::StringObject* out) const {
    return call<int32_t>(get(), 14, separator, out);
  }
  bool isMethodAllowed() const { return call<bool>(get(), 15); }
  int32_t appendUnfinished(const uint8_t* bytes, uint64_t count) const {
    return call<int32_t>(get(), 16, bytes, count);
  }
  int32_t setUnfinished(const uint8_t* bytes, uint64_t count) const {
    return call<int32_t>(get(), 17, bytes, count);
  }

  // --- The same, in words ---

  // From a block of exactly that size, so that no byte behind it is read.
  int32_t parse(const std::string& bytes) const {
    const std::vector<uint8_t> exact(bytes.begin(), bytes.end());
    return parse(exact.data(), exact.size());
  }
  int32_t append(const std::string& bytes) const {
    return appendUnfinished(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
  }
  int32_t replace(const std::string& bytes) const {
    return setUnfinished(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
  }
  std::string header(const char* name) const {
    char* value = nullptr;
    const int32_t result = getHeader(name, &value);
    return taken(result, value);
  }
  std::string parameter(const char* name) const {
    char* value = nullptr;
    const int32_t result = getQueryParameter(name, &value);
    return taken(result, value);
  }
  std::string body() const {
    runtime::ByteBuffer data{};
    return getBodyData(&data) == kOk
               ? std::string(reinterpret_cast<const char*>(data.data), data.length)
               : "(none)";
  }
  // Everything that a request tells.
  std::string all() const {
    std::string text;
    for (const char* part : {getMethod(), getURI(), getPath(), getProtocolVersion()}) {
      text += std::string(part) + "|";
    }
    return text + header("Origin") + "|" + header("Referer") + "|" + parameter("x") + "|" +
           parameter("y") + "|" + body();
  }

 private:
  static std::string taken(int32_t result, char* value) {
    EXPECT_EQ(result == kOk, value != nullptr);
    const std::string found = value != nullptr ? value : "(absent)";
    SpyRuntime::current().root.Free(value);
    return found;
  }
};

// IHTTPResponse by the numbers of its slots.
class RawResponse : public RawReference {
 public:
  using RawReference::RawReference;

  int32_t serialize(uint8_t** buffer, uint64_t* size) const {
    return call<int32_t>(get(), 3, buffer, size);
  }
  int32_t setStatus(uint32_t code, const char* reason = nullptr) const {
    return call<int32_t>(get(), 4, code, reason);
  }
  uint32_t getStatusCode() const { return call<uint32_t>(get(), 5); }
  int32_t setProtocol(const char* protocol) const { return call<int32_t>(get(), 6, protocol); }
  int32_t setBody(const char* body) const { return call<int32_t>(get(), 7, body); }
  int32_t addHeader(const char* name, const char* value) const {
    return call<int32_t>(get(), 8, name, value);
  }
};

}  // namespace vexa::test
