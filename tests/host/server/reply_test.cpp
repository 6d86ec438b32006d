#include "server/reply.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

namespace vexahost {
namespace {

// RFC 9110, section 15, and RFC 6585.
const std::map<uint32_t, std::string> kPhrases = {
    {200, "OK"},
    {204, "No Content"},
    {400, "Bad Request"},
    {401, "Unauthorized"},
    {403, "Forbidden"},
    {404, "Not Found"},
    {405, "Method Not Allowed"},
    {408, "Request Timeout"},
    {413, "Content Too Large"},
    {417, "Expectation Failed"},
    {421, "Misdirected Request"},
    {431, "Request Header Fields Too Large"},
    {500, "Internal Server Error"},
    {501, "Not Implemented"},
    {503, "Service Unavailable"},
    {505, "HTTP Version Not Supported"},
};

TEST(Reply, EveryStatusThatIsUsedHasItsPhrase) {
  for (uint32_t status = 0; status < 1000; ++status) {
    const auto known = kPhrases.find(status);
    EXPECT_EQ(reasonPhrase(status), known == kPhrases.end() ? "" : known->second) << status;
  }
}

TEST(Reply, IsJsonUnlessItSaysOtherwise) {
  const Reply reply;
  EXPECT_EQ(reply.status, 200u);
  EXPECT_STREQ(reply.contentType, "application/json");
}

}  // namespace
}  // namespace vexahost
