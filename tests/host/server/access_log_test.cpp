#include "server/access_log.h"

#include <gtest/gtest.h>

#include <cstdio>

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

TEST(AccessLog, EveryOtherByteIsWrittenAsItCame) {
  for (int c = 0; c <= 0xFF; ++c) {
    LogEntry one = entry();
    one.target = std::string(1, static_cast<char>(c));
    char code[8] = {};
    std::snprintf(code, sizeof(code), "%%%02X", static_cast<unsigned>(c));
    const std::string shown = c >= 0x21 && c <= 0x7E ? one.target : code;
    EXPECT_TRUE(logLine(one).ends_with(" GET " + shown + " https://app.example\n")) << c;
  }
}

TEST(AccessLog, LongTextsAreCut) {
  const std::string most = "/" + std::string(511, 'a');
  LogEntry longer = entry();
  longer.target = most;
  EXPECT_TRUE(logLine(longer).ends_with(" GET " + most + " https://app.example\n"));
  longer.target += "b";
  EXPECT_TRUE(logLine(longer).ends_with(" GET " + most + "... https://app.example\n"));
}

TEST(AccessLog, NumbersOfAnySizeAreWrittenWhole) {
  LogEntry largest = entry();
  largest.status = UINT32_MAX;
  largest.bytes = UINT64_MAX;
  largest.duration = std::chrono::microseconds(123456789012345);
  EXPECT_NE(logLine(largest).find(" 4294967295 18446744073709551615 123456789012.345ms GET "),
            std::string::npos);
}

}  // namespace
}  // namespace vexahost
