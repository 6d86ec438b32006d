#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "runtime/basic_tables.h"
#include "runtime/trace.h"
#include "vexa/results.h"
#include "vexa/runtime/reference.h"

namespace vexa::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// The trace goes to a file of the test's name in the working folder.
class NotifyTableTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::remove(path_.c_str());
    ASSERT_EQ(velmora_set_trace(1, path_.c_str()), kOk);
  }
  void TearDown() override {
    velmora_clear_source_levels();
    EXPECT_EQ(velmora_set_trace(0, nullptr), kOk);
    std::remove(path_.c_str());
  }

  void setLevel(uint32_t level) { EXPECT_EQ(velmora_set_trace(level, path_.c_str()), kOk); }

  std::vector<std::string> lines() {
    std::ifstream file(path_);
    std::vector<std::string> result;
    for (std::string line; std::getline(file, line);) {
      result.push_back(line);
    }
    return result;
  }

  static void messageList(uint32_t level, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    velmora::notifyTable.MessageList(level, "list", 0, format, arguments);
    va_end(arguments);
  }

  const runtime::NotifyTable& notify = velmora::notifyTable;

 private:
  std::string path_ =
      std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()) + ".trace";
};

TEST_F(NotifyTableTest, MessagesAreOneLineEach) {
  notify.Message(1, "vexabase", 0, "error %d of \"%s\"", 5, "x");
  messageList(1, "%08x", 0x80004005u);
  notify.Message(1, "vexabase", 0, "plain");
  EXPECT_THAT(lines(),
              ElementsAre("1 vexabase: error 5 of \"x\"", "1 list: 80004005", "1 vexabase: plain"));
}

// Neither a line that nobody traced nor an order to the terminal.
TEST_F(NotifyTableTest, WhatOthersSentStaysOnItsLine) {
  notify.Message(1, "a\n1 b", 0, "%s", "x\r\n1 b: forged\t\x7F");
  notify.Message(1, "a", 0, "%s", "\x1B[31m\u009B31m \u202E\u2066\u2028\u200B\u061C\uFEFF");
  notify.Message(1, "a", 0, "%s", "\x9B \xC3( \xED\xA0\x80 \xF0\x9F");
  notify.Message(1, "a", 0, "%s", "ä \uFFFD \u2027\u202F \U0001F600 \\x1B");
  EXPECT_THAT(lines(),
              ElementsAre("1 a\\x0A1 b: x\\x0D\\x0A1 b: forged\\x09\\x7F",
                          "1 a: \\x1B[31m\\x9B31m \\u202E\\u2066\\u2028\\u200B\\u061C\\uFEFF",
                          "1 a: \\x9B \\xC3( \\xED\\xA0\\x80 \\xF0\\x9F",
                          "1 a: ä \uFFFD \u2027\u202F \U0001F600 \\x1B"));
}

// The first and the last character of each range that is written in digits, and their neighbours.
TEST_F(NotifyTableTest, RangesOfHarmfulCharactersEndWhereTheyShould) {
  struct Each {
    const char* text;
    const char* written;
  };
  const Each kCases[] = {
      {"\x01", "\\x01"},
      {"\x1F", "\\x1F"},
      {" ", " "},
      {"~", "~"},
      {"\x7F", "\\x7F"},
      {"\u0080", "\\x80"},
      {"\u009F", "\\x9F"},
      {"\u00A0", "\u00A0"},
      {"\u061B", "\u061B"},
      {"\u061C", "\\u061C"},
      {"\u061D", "\u061D"},
      {"\u200A", "\u200A"},
      {"\u200B", "\\u200B"},
      {"\u200F", "\\u200F"},
      {"\u2010", "\u2010"},
      {"\u2027", "\u2027"},
      {"\u2028", "\\u2028"},
      {"\u202E", "\\u202E"},
      {"\u202F", "\u202F"},
      {"\u2065", "\u2065"},
      {"\u2066", "\\u2066"},
      {"\u2069", "\\u2069"},
      {"\u206A", "\u206A"},
      {"\uFEFE", "\uFEFE"},
      {"\uFEFF", "\\uFEFF"},
      {"\uFF00", "\uFF00"},
      {"\U0010FFFF", "\U0010FFFF"},
  };
  std::vector<std::string> expected;
  for (const Each& each : kCases) {
    notify.Message(1, "a", 0, "<%s>", each.text);
    expected.push_back(std::string("1 a: <") + each.written + ">");
  }
  EXPECT_EQ(lines(), expected);
}

TEST_F(NotifyTableTest, LongMessagesAreWhole) {
  const std::string text(5000, 'x');
  notify.Message(1, "a", 0, "%s", text.c_str());
  EXPECT_THAT(lines(), ElementsAre("1 a: " + text));
}

TEST_F(NotifyTableTest, AnEmptyMessageIsALine) {
  notify.Message(1, "a", 0, "%s", "");
  EXPECT_THAT(lines(), ElementsAre("1 a: "));
}

TEST_F(NotifyTableTest, HigherLevelsAreLeftOut) {
  notify.Message(2, "a", 0, "two");
  setLevel(2);
  notify.Message(2, "a", 0, "two again");
  EXPECT_THAT(lines(), ElementsAre("2 a: two again"));
}

TEST_F(NotifyTableTest, ScopeEndsShowWhereTheirBeginningsDo) {
  notify.Message(4, "a", 0, "{ x");
  notify.Message(0, "a", 0, "}");
  EXPECT_THAT(lines(), IsEmpty());
  setLevel(4);
  notify.Message(4, "a", 0, "{ x");
  notify.Message(0, "a", 0, "}");
  EXPECT_THAT(lines(), ElementsAre("4 a: { x", "0 a: }"));
}

TEST_F(NotifyTableTest, LevelZeroIsSilent) {
  setLevel(0);
  notify.Message(0, "a", 0, "}");
  notify.Message(1, "a", 0, "error");
  EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(NotifyTableTest, SourcesMayHaveLevelsOfTheirOwn) {
  EXPECT_EQ(velmora_set_source_level("b", 5), kOk);
  EXPECT_EQ(notify.GetLevel("a", 5), 1u);
  EXPECT_EQ(notify.GetLevel("b", 5), 5u);
  notify.Message(5, "a", 0, "hidden");
  notify.Message(5, "b", 0, "shown");
  EXPECT_EQ(velmora_set_source_level("b", 0), kOk);
  notify.Message(1, "b", 0, "hidden");
  velmora_clear_source_levels();
  notify.Message(1, "b", 0, "shown again");
  EXPECT_THAT(lines(), ElementsAre("5 b: shown", "1 b: shown again"));
}

TEST_F(NotifyTableTest, AMissingSourceIsUnknown) {
  notify.Message(1, nullptr, 0, "x");
  EXPECT_EQ(notify.GetLevel(nullptr, 1), 1u);
  EXPECT_THAT(lines(), ElementsAre("1 unknown: x"));
  EXPECT_EQ(velmora_set_source_level(nullptr, 1), kNullPointer);
}

TEST_F(NotifyTableTest, AFileThatCannotBeOpenedChangesNothing) {
  EXPECT_EQ(velmora_set_trace(5, "no/such/folder/file"), kFail);
  EXPECT_EQ(notify.GetLevel("a", 1), 1u);
  notify.Message(1, "a", 0, "still here");
  EXPECT_THAT(lines(), ElementsAre("1 a: still here"));
}

TEST_F(NotifyTableTest, LinesOfManyThreadsStayWhole) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([this] {
      for (int j = 0; j < 50; ++j) {
        notify.Message(1, "thread", 0, "%s", "0123456789");
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_THAT(lines(), ::testing::AllOf(::testing::SizeIs(200),
                                        ::testing::Each(std::string("1 thread: 0123456789"))));
}

void keepText(void* texts, uint32_t, const char* source, const char* text) {
  static_cast<std::vector<std::string>*>(texts)->push_back(std::string(source) + ": " + text);
}

TEST_F(NotifyTableTest, MessagesOfTheCollectingThreadAreCollected) {
  std::vector<std::string> texts;
  ASSERT_EQ(velmora_collect_trace(4, keepText, &texts), kOk);
  EXPECT_EQ(notify.GetLevel("vexabase", 0), 4u);
  notify.Message(4, "vexabase", 0, "progress %d", 1);
  notify.Message(5, "vexabase", 0, "detail");
  std::thread([this] {
    EXPECT_EQ(notify.GetLevel("vexabase", 0), 1u);
    notify.Message(4, "vexabase", 0, "of another thread");
  }).join();
  notify.Message(1, nullptr, 0, "error");
  ASSERT_EQ(velmora_collect_trace(0, nullptr, nullptr), kOk);
  notify.Message(1, "vexabase", 0, "afterwards");
  EXPECT_THAT(texts, ElementsAre("vexabase: progress 1", "unknown: error"));
  EXPECT_THAT(lines(), ElementsAre("1 unknown: error", "1 vexabase: afterwards"));
  EXPECT_EQ(notify.GetLevel("vexabase", 0), 1u);
}

TEST_F(NotifyTableTest, OneThreadCollectsAtATime) {
  std::vector<std::string> texts;
  ASSERT_EQ(velmora_collect_trace(4, keepText, &texts), kOk);
  std::thread([&texts] {
    EXPECT_EQ(velmora_collect_trace(4, keepText, &texts), kFail);
    EXPECT_EQ(velmora_collect_trace(0, nullptr, nullptr), kFail);
  }).join();
  EXPECT_EQ(velmora_collect_trace(0, nullptr, nullptr), kOk);
}

TEST_F(NotifyTableTest, WithoutAFileItGoesToTheStandardError) {
  ASSERT_EQ(velmora_set_trace(2, nullptr), kOk);
  ::testing::internal::CaptureStderr();
  notify.Message(2, "a", 0, "%s", "shown");
  notify.Message(3, "a", 0, "hidden");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "2 a: shown\n");
  EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(NotifyTableTest, AMessageWithoutAFormatIsNone) {
  std::vector<std::string> texts;
  ASSERT_EQ(velmora_collect_trace(4, keepText, &texts), kOk);
  notify.Message(1, "a", 0, nullptr);
  messageList(1, nullptr);
  EXPECT_EQ(velmora_collect_trace(0, nullptr, nullptr), kOk);
  EXPECT_THAT(texts, IsEmpty());
  EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(NotifyTableTest, SilenceHasNoLevel) {
  ASSERT_EQ(velmora_set_trace(0, nullptr), kOk);
  EXPECT_EQ(notify.GetLevel("a", 1), 0u);
  EXPECT_EQ(notify.GetLevel(nullptr, 1), 0u);
  ::testing::internal::CaptureStderr();
  notify.Message(1, "a", 0, "hidden");
  messageList(1, "hidden");
  notify.Message(0, "a", 0, "}");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(velmora_set_source_level("b", 1), kOk);
  EXPECT_EQ(notify.GetLevel("a", 1), 0u) << "asked again, since another is on";
  EXPECT_EQ(notify.GetLevel("b", 1), 1u);
}

TEST_F(NotifyTableTest, ClosingForgetsLevelsAndTheFile) {
  EXPECT_EQ(velmora_set_source_level("a", 3), kOk);
  EXPECT_EQ(velmora_set_source_level("b", 4), kOk);
  velmora::closeTrace();
  EXPECT_EQ(notify.GetLevel("a", 1), 0u);
  EXPECT_EQ(notify.GetLevel("b", 1), 0u);
  ::testing::internal::CaptureStderr();
  ASSERT_EQ(velmora_set_trace(1, nullptr), kOk);
  notify.Message(1, "c", 0, "no file");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "1 c: no file\n");
  EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(NotifyTableTest, ALevelOfASourceIsReplaced) {
  for (const uint32_t level : {4u, 2u, 3u}) {
    EXPECT_EQ(velmora_set_source_level("a", level), kOk);
    EXPECT_EQ(velmora_set_source_level("b", 1), kOk);
    EXPECT_EQ(notify.GetLevel("a", 1), level);
    EXPECT_EQ(notify.GetLevel("b", 1), 1u);
  }
}

TEST_F(NotifyTableTest, ACollectorSeesWhatIsNotPrinted) {
  std::vector<std::string> texts;
  EXPECT_EQ(velmora_set_source_level("high", 6), kOk);
  ASSERT_EQ(velmora_collect_trace(3, keepText, &texts), kOk);
  EXPECT_EQ(notify.GetLevel("high", 0), 6u);
  EXPECT_EQ(notify.GetLevel("low", 0), 3u);
  notify.Message(6, "high", 0, "printed");
  notify.Message(3, "low", 0, "collected");
  notify.Message(3, "high", 0, "both");
  notify.Message(4, "low", 0, "neither");
  EXPECT_EQ(velmora_collect_trace(0, nullptr, nullptr), kOk);
  EXPECT_THAT(texts, ElementsAre("low: collected", "high: both"));
  EXPECT_THAT(lines(), ElementsAre("6 high: printed", "3 high: both"));
}

}  // namespace
}  // namespace vexa::test
