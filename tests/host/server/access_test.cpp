#include "server/access.h"

#include <gtest/gtest.h>

#include <string>

namespace vexahost {
namespace {

constexpr char kAllowed[] = "https://app.client.example";

struct AccessCase {
  const char* name;
  std::optional<std::string_view> host;
  std::optional<std::string_view> origin;
  std::optional<std::string_view> fetchSite;
  uint32_t status;  // 200: let in
};
void PrintTo(const AccessCase& value, std::ostream* out) { *out << value.name; }

constexpr std::nullopt_t kNone = std::nullopt;
constexpr AccessCase kCases[] = {
    {"ByAddress", "127.0.0.1:8420", kNone, kNone, 200},
    {"ByName", "localhost:8420", kNone, kNone, 200},
    {"ByNameInCapitals", "LOCALHOST:8420", kNone, kNone, 200},
    {"ByIPv6Address", "[::1]:8420", kNone, kNone, 200},
    {"WithoutHost", kNone, kNone, kNone, 200},
    {"ReboundName", "evil.example:8420", kNone, "same-origin", 421},
    {"ReboundNameWithOrigin", "evil.example:8420", "http://evil.example:8420", "same-origin", 421},
    {"WithoutPort", "localhost", kNone, kNone, 421},
    {"OtherPort", "localhost:8421", kNone, kNone, 421},
    {"PortWithZero", "localhost:08420", kNone, kNone, 421},
    {"OtherLoopbackAddress", "127.0.0.2:8420", kNone, kNone, 421},
    {"EmptyHost", "", kNone, kNone, 421},
    {"OwnPage", "localhost:8420", kNone, "same-origin", 200},
    {"TypedAddress", "localhost:8420", kNone, "none", 200},
    {"OwnOrigin", "localhost:8420", "http://localhost:8420", "same-origin", 200},
    {"OwnOriginByOtherName", "127.0.0.1:8420", "http://localhost:8420", "cross-site", 200},
    {"AllowedPage", "localhost:8420", kAllowed, "cross-site", 200},
    {"ForeignPage", "localhost:8420", "https://evil.example", "cross-site", 403},
    {"ForeignPageThatSaysNone", "localhost:8420", "https://evil.example", "none", 403},
    {"OpaqueOrigin", "localhost:8420", "null", "cross-site", 403},
    {"EmptyOrigin", "localhost:8420", "", kNone, 403},
    {"ForeignImage", "localhost:8420", kNone, "cross-site", 403},
    {"ImageOfAnotherPort", "localhost:8420", kNone, "same-site", 403},
    {"UnknownSite", "localhost:8420", kNone, "something", 403},
};

class Access : public ::testing::TestWithParam<AccessCase> {
 protected:
  Access() : allowed_([](const std::string& a, const std::string& b) { return a == b; }) {
    allowed_.add(kAllowed);
  }
  AllowedOrigins allowed_;
};

TEST_P(Access, IsJudged) {
  Head head;
  head.host = GetParam().host;
  head.origin = GetParam().origin;
  head.fetchSite = GetParam().fetchSite;
  const std::optional<Refusal> refusal = AccessPolicy(8420, allowed_).judge(head);
  EXPECT_EQ(refusal ? refusal->status : 200, GetParam().status);
  if (refusal) {
    const std::string_view reason =
        refusal->status == 421 ? "this endpoint is 127.0.0.1, localhost or [::1], with its port"
        : head.origin          ? "this origin is not allowed"
                               : "requests from other sites must name their origin";
    EXPECT_EQ(refusal->detail, reason);
  }
}
INSTANTIATE_TEST_SUITE_P(Policy, Access, ::testing::ValuesIn(kCases),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(AccessPolicy, TheUsualPortMayBeLeftOut) {
  const AllowedOrigins none([](const std::string&, const std::string&) { return false; });
  const AccessPolicy policy(80, none);
  Head head;
  head.host = "localhost";
  EXPECT_FALSE(policy.judge(head));
  EXPECT_TRUE(policy.isAllowed("http://127.0.0.1"));
}

TEST(AccessPolicy, AnAbsoluteTargetNamesAHost) {
  const AllowedOrigins none([](const std::string&, const std::string&) { return false; });
  const AccessPolicy policy(8420, none);
  Head head;
  head.host = "localhost:8420";
  head.targetHost = "evil.example:8420";
  ASSERT_TRUE(policy.judge(head));
  EXPECT_EQ(policy.judge(head)->status, 421u);
}

}  // namespace
}  // namespace vexahost
