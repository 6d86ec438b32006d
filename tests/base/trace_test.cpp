#include "base/trace.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdarg>
#include <utility>

#include "support/module_fixture.h"
#include "support/sweep.h"

namespace vexa::base {
namespace {

using test::TraceLine;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class TraceTest : public test::ModuleTest {
 protected:
  std::string onlyText() {
    const auto lines = spy.trace();
    EXPECT_THAT(lines, SizeIs(1));
    return lines.empty() ? "" : lines.front().text;
  }
};

TEST_F(TraceTest, AScopeTracesItsNameAndItsResult) {
  {
    TraceScope scope("URLParser::parse");
    EXPECT_EQ(scope.leave(kFail), kFail);
  }
  const std::string source = defaultTraceSource();
  EXPECT_THAT(spy.trace(), ElementsAre(TraceLine{4, source, "{ URLParser::parse"},
                                       TraceLine{4, source, "} 80004005"}));
}

TEST_F(TraceTest, AScopesResultIs0UntilItIsSet) {
  { TraceScope scope("f"); }
  EXPECT_THAT(spy.traceTexts(), ElementsAre("{ f", "}        0"));
}

TEST_F(TraceTest, WhatATracedOperationHoldsGoesBeforeItsExitLine) {
  struct SpeaksAtTheEnd {
    ~SpeaksAtTheEnd() { traceText(kTraceInfo, nullptr, "gone"); }
  };
  EXPECT_FALSE(traced("f", [&] {
    const SpeaksAtTheEnd held;
    return false;
  }));
  EXPECT_EQ(traced("g", [&] { return int64_t{-1}; }), -1);
  EXPECT_THAT(spy.traceTexts(), ElementsAre("{ f", "gone", "}        0", "{ g", "} ffffffff"));
}

TEST_F(TraceTest, WithoutAnExitFormatTheExitLineIsABrace) {
  { TraceScope scope("f", nullptr); }
  EXPECT_THAT(spy.traceTexts(), ElementsAre("{ f", "}"));
}

TEST_F(TraceTest, OnlyEighteenCharactersOfTheExitFormatAreUsed) {
  { TraceScope scope("f", "123456789012345678%d"); }
  EXPECT_THAT(spy.traceTexts(), ElementsAre("{ f", "} 123456789012345678"));
}

TEST_F(TraceTest, OnlyTheLowFourBitsOfTheFlagsReachTheRuntime) {
  traceText(0x12345675, kModuleSource, "a");
  traceFormat(0xFFFFFFF2, kModuleSource, "%d", 7);
  EXPECT_THAT(spy.trace(),
              ElementsAre(TraceLine{5, "vexabase", "a"}, TraceLine{2, "vexabase", "7"}));
}

void passOn(uint32_t flags, const char* source, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  traceFormatList(flags, source, format, arguments);
  va_end(arguments);
}

TEST_F(TraceTest, ArgumentsMayBeCollectedBefore) {
  passOn(0xFFFFFFF2, kModuleSource, "%s %d", "a", 7);
  passOn(kTraceInfo, nullptr, "b");
  EXPECT_THAT(spy.trace(), ElementsAre(TraceLine{2, "vexabase", "a 7"},
                                       TraceLine{4, defaultTraceSource(), "b"}));
  stop();
  spy.clearTrace();
  passOn(kTraceInfo, nullptr, "c");
  EXPECT_THAT(spy.trace(), IsEmpty());
}

TEST_F(TraceTest, ATextIsNeverTakenForAFormat) {
  traceText(kTraceInfo, nullptr, "%s %n 100%");
  EXPECT_EQ(onlyText(), "%s %n 100%");
}

TEST_F(TraceTest, TheDefaultSourceIsAFileName) {
  EXPECT_STRNE(defaultTraceSource(), "");
  EXPECT_EQ(std::string(defaultTraceSource()).find_first_of("/\\"), std::string::npos);
  traceText(kTraceInfo, nullptr, "a");
  EXPECT_EQ(spy.trace().front().source, defaultTraceSource());
}

TEST_F(TraceTest, WideTextsAreConvertedUnitByUnit) {
  traceWide(kTraceDetail, nullptr, u"a\u007F\u0080\u07FF\u0800\uFFFF");
  EXPECT_EQ(onlyText(), "a\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF");
}

TEST_F(TraceTest, EachHalfOfASurrogatePairBecomesThreeBytes) {
  const char16_t pair[] = {0xD83D, 0xDE00, 0};
  traceWide(kTraceDetail, nullptr, pair);
  EXPECT_EQ(onlyText(), "\xED\xA0\xBD\xED\xB8\x80");
}

TEST_F(TraceTest, WideFormatsTakeWideArguments) {
  traceWideFormat(kTraceError, nullptr, u"(%d) %s", -5, u"\u00FC");
  EXPECT_THAT(spy.trace(), ElementsAre(TraceLine{1, defaultTraceSource(), "(-5) \xC3\xBC"}));
}

TEST_F(TraceTest, ConvertedCopiesAreFreed) {
  const int64_t before = spy.liveBlocks();
  traceWideFormat(kTraceError, nullptr, u"%s", u"text");
  EXPECT_EQ(spy.liveBlocks(), before);
}

TEST_F(TraceTest, WithoutMemoryAWideTextIsNotTraced) {
  spy.failAllocationsFrom(1);
  traceWide(kTraceError, nullptr, u"text");
  traceWideFormat(kTraceError, nullptr, u"text");
  spy.allowAllocations();
  EXPECT_THAT(spy.trace(), IsEmpty());
}

TEST_F(TraceTest, ALevelIsOnUpToTheCurrentOne) {
  spy.setTraceLevel(kModuleSource, 3);
  EXPECT_TRUE(isTraceOn(1, kModuleSource));
  EXPECT_TRUE(isTraceOn(3, kModuleSource));
  EXPECT_FALSE(isTraceOn(4, kModuleSource));
  spy.setTraceLevel(defaultTraceSource(), 5);
  EXPECT_TRUE(isTraceOn(5, nullptr));
}

TEST_F(TraceTest, TheLevelIsAskedForWithTheSourceAndTheLevelInQuestion) {
  static std::string asked;
  spy.notify.GetLevel = [](const char* source, uint32_t level) {
    asked = source + (" " + std::to_string(level));
    return uint32_t{2};
  };
  EXPECT_TRUE(isTraceOn(2, kModuleSource));
  EXPECT_EQ(asked, "vexabase 2");
  EXPECT_FALSE(isTraceOn(3, nullptr));
  EXPECT_EQ(asked, defaultTraceSource() + std::string(" 3"));
}

TEST_F(TraceTest, WideMessagesKeepTheirSource) {
  traceWide(kTraceInfo, kModuleSource, u"a");
  traceWideFormat(kTraceInfo, kModuleSource, u"%s", u"b");
  EXPECT_THAT(spy.trace(),
              ElementsAre(TraceLine{4, "vexabase", "a"}, TraceLine{4, "vexabase", "b"}));
}

TEST_F(TraceTest, NothingHappensWhileTracingIsUnbound) {
  stop();
  spy.clearTrace();
  {
    TraceScope scope("f");
    EXPECT_EQ(scope.leave(7), 7);
    traceText(1, nullptr, "a");
    traceFormat(1, nullptr, "%d", 1);
    traceWide(1, nullptr, u"a");
    traceWideFormat(1, nullptr, u"%d", 1);
  }
  EXPECT_FALSE(isTraceOn(0, nullptr));
  EXPECT_THAT(spy.trace(), IsEmpty());
}

TEST_F(TraceTest, AScopeThatNobodyHearsCostsItsFieldsAlone) {
  static_assert(sizeof(TraceScope) == 16, "result and exit format");
  const void* const notify = std::exchange(bound.notify.pointer, BoundTables().notify.pointer);
  const uint64_t before = spy.allocations();
  EXPECT_EQ(traced("f", [] { return 7; }), 7);
  {
    TraceScope scope("g", "%d");
    EXPECT_EQ(scope.leave(8), 8);
  }
  EXPECT_EQ(spy.allocations(), before);
  bound.notify.pointer = notify;
  EXPECT_THAT(spy.trace(), IsEmpty());
}

TEST_F(TraceTest, NoCopyIsMadeOfAWideTextThatNobodyHears) {
  const void* const notify = std::exchange(bound.notify.pointer, BoundTables().notify.pointer);
  const uint64_t before = spy.allocations();
  traceWide(1, nullptr, u"a");
  traceWideFormat(1, nullptr, u"%d", 1);
  EXPECT_EQ(spy.allocations(), before);
  bound.notify.pointer = notify;
}

TEST_F(TraceTest, WithoutMemoryAWideMessageIsNotSent) {
  const int swept = test::sweepAllocations(spy, [this] {
    spy.clearTrace();
    traceWide(kTraceInfo, kModuleSource, u"wide");
    traceWideFormat(kTraceInfo, kModuleSource, u"%s %d", u"format", 5);
    const auto texts = spy.traceTexts();
    for (const std::string& text : texts) {
      EXPECT_TRUE(text == "wide" || text == "format 5") << text;
    }
    return texts.size() == 2;
  });
  EXPECT_EQ(swept, 3) << "a conversion each, and the formatted text";
}

}  // namespace
}  // namespace vexa::base
