#include <gtest/gtest.h>

#include <map>
#include <string>

#include "http_fixture.h"

namespace vexa::test {
namespace {

// Written down from RFC 2616, 6.1.1; hosts know the first one in lower case.
const std::map<uint32_t, std::string> kReasons = {
    {100, "continue"},
    {101, "Switching Protocols"},
    {200, "OK"},
    {201, "Created"},
    {202, "Accepted"},
    {203, "Non-Authoritative Information"},
    {204, "No Content"},
    {205, "Reset Content"},
    {206, "Partial Content"},
    {300, "Multiple Choices"},
    {301, "Moved Permanently"},
    {302, "Found"},
    {303, "See Other"},
    {304, "Not Modified"},
    {305, "Use Proxy"},
    {307, "Temporary Redirect"},
    {400, "Bad Request"},
    {401, "Unauthorized"},
    {402, "Payment Required"},
    {403, "Forbidden"},
    {404, "Not Found"},
    {405, "Method Not Allowed"},
    {406, "Not Acceptable"},
    {407, "Proxy Authentication Required"},
    {408, "Request Time-out"},
    {409, "Conflict"},
    {410, "Gone"},
    {411, "Length Required"},
    {412, "Precondition Failed"},
    {413, "Request Entity Too Large"},
    {414, "Request-URI Too Large"},
    {415, "Unsupported Media Type"},
    {416, "Requested range not satisfiable"},
    {417, "Expectation Failed"},
    {500, "Internal Server Error"},
    {501, "Not Implemented"},
    {502, "Bad Gateway"},
    {503, "Service Unavailable"},
    {504, "Gateway Time-out"},
    {505, "HTTP Version not supported"},
};

class HttpReason : public HttpResponseTest {};

TEST_F(HttpReason, EveryCodeHasItsOwnOrNone) {
  for (uint32_t code = 0; code <= kHttpMaxStatus; ++code) {
    ASSERT_EQ(response.setStatus(code), kNotImplemented);
    const auto known = kReasons.find(code);
    const std::string reason = known != kReasons.end() ? known->second : "";
    const std::string line = "HTTP/1.1 " + std::to_string(code) + " " + reason + "\r\n";
    ASSERT_EQ(serialise().substr(0, line.size()), line);
    ASSERT_EQ(response.getStatusCode(), code);
  }
}

TEST_F(HttpReason, AReasonOfTheCallersGoesBeforeTheUsualOne) {
  EXPECT_EQ(response.setStatus(404, "Gone fishing"), kNotImplemented);
  EXPECT_EQ(serialise().substr(0, 27), "HTTP/1.1 404 Gone fishing\r\n");
}

}  // namespace
}  // namespace vexa::test
