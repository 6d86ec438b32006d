#include "server/access_log.h"

#include <gtest/gtest.h>

namespace vexahost {
namespace {

LogEntry entry() {
  LogEntry result;
  result.time = std::chrono::system_clock::time_point(std::chrono::milliseconds(1700000000045));
  result.client = "127.0.0.1:51234";
  result.method = "GET";
  result.target = "/v1/info?a=b";
  result.origin = "https://app.example";
  result.status = 200;
  result.bytes = 512;
  result.duration = std::chrono::microseconds(1250);
  return result;
}

TEST(AccessLog, ALineHasEightWords) {
  EXPECT_EQ(logLine(entry()),
            "2023-11-14T22:13:20.045Z 127.0.0.1:51234 200 512 1.250ms GET /v1/info?a=b "
            "https://app.example\n");
}

TEST(AccessLog, WhatIsMissingIsADash) {
  LogEntry missing = entry();
  missing.method = missing.target = missing.origin = "";
  EXPECT_TRUE(logLine(missing).ends_with(" 1.250ms - - -\n"));
}

TEST(AccessLog, NothingThatCameCanForgeALine) {
  LogEntry forged = entry();
  forged.target = "/a b\r\nc\x80\x7F";
  EXPECT_TRUE(logLine(forged).ends_with(" GET /a%20b%0D%0Ac%80%7F https://app.example\n"));
}

TEST(AccessLog, LongTextsAreCut) {
  LogEntry longer = entry();
  longer.target = "/" + std::string(5000, 'a');
  EXPECT_LT(logLine(longer).size(), 700u);
}

}  // namespace
}  // namespace vexahost
