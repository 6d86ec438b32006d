#include "server/answers.h"

#include <gtest/gtest.h>

#include <asio/io_context.hpp>
#include <filesystem>

namespace vexahost {
namespace {

using std::chrono::milliseconds;

// The routes' handlers, asked without a connection.
class AnswersTest : public testing::Test {
 protected:
  Outcome status(const std::string& query, uint32_t changesBefore = 0, bool waitIsOver = false) {
    const auto request = module_.make<vexa::IHTTPRequest>();
    const std::string text = "GET /v1/status" + query + " HTTP/1.1\r\nHost: localhost\r\n\r\n";
    EXPECT_EQ(request->parse(reinterpret_cast<const uint8_t*>(text.data()), text.size()),
              vexa::kOk);
    return answerStatus({endpoint_, *request.get(), changesBefore, waitIsOver});
  }

  Module module_{{.module = std::filesystem::absolute("../bin") / vexa::kModuleFile}};
  asio::io_context context_{1};
  const ServeOptions options_{};
  Endpoint endpoint_{context_, module_, options_, 8420};
};

TEST_F(AnswersTest, WhoAsksForTheNextChangeWaitsAsLongAsItSays) {
  for (const auto& [seconds, time] :
       {std::pair("1", milliseconds(1000)), std::pair("59", milliseconds(59000)),
        std::pair("60", milliseconds(60000)), std::pair("61", milliseconds(60000)),
        std::pair("4294967295", milliseconds(60000))}) {
    const Outcome outcome = status(std::string("?wait=") + seconds);
    ASSERT_TRUE(std::holds_alternative<Wait>(outcome)) << seconds;
    EXPECT_EQ(std::get<Wait>(outcome).time, time) << seconds;
    EXPECT_EQ(std::get<Wait>(outcome).since, 0u);
  }
}

TEST_F(AnswersTest, WhoKnowsAnotherNumberOfChangesNeedNotWait) {
  for (const char* const query : {"", "?since=0", "?wait=0", "?wait=60&since=1"}) {
    EXPECT_TRUE(std::holds_alternative<Reply>(status(query))) << query;
  }
  EXPECT_TRUE(std::holds_alternative<Reply>(status("?wait=60", 1)));  // one has come meanwhile
  EXPECT_TRUE(std::holds_alternative<Wait>(status("?wait=60&since=0", 1)));
  EXPECT_TRUE(std::holds_alternative<Reply>(status("?wait=60", 0, true)));
}

TEST_F(AnswersTest, NumbersAreNothingButDigitsAndFit) {
  for (const char* const number : {"", "x", "1x", "-1", "+1", "1.5", "4294967296"}) {
    for (const char* const name : {"wait", "wait=1&since"}) {
      const Outcome outcome = status(std::string("?") + name + "=" + number);
      ASSERT_TRUE(std::holds_alternative<Reply>(outcome)) << name << number;
      EXPECT_EQ(std::get<Reply>(outcome).status, 400u) << name << number;
    }
  }
}

}  // namespace
}  // namespace vexahost
