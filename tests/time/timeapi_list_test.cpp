#include <gtest/gtest.h>

#include <string>

#include "pal/replace.h"
#include "support/bound_fixture.h"
#include "support/slot.h"
#include "time/timeapi_list.h"

namespace {

constexpr uint64_t kStart = 133'500'000'123'456'789u;
constexpr uint64_t kSecond = 10'000'000;

// Every reading of the clock is a second later than the one before.
WORD readings;

}  // namespace

PAL_REPLACE(void, GetSystemTime, (LPSYSTEMTIME time)) {
  *time = {};
  time->wMilliseconds = readings++;
}
PAL_REPLACE(BOOL, SystemTimeToFileTime, (const SYSTEMTIME* time, LPFILETIME fileTime)) {
  const uint64_t ticks = kStart + time->wMilliseconds * kSecond;
  fileTime->dwLowDateTime = static_cast<DWORD>(ticks);
  fileTime->dwHighDateTime = static_cast<DWORD>(ticks >> 32);
  return TRUE;
}

namespace vexa::test {
namespace {

class Time : public BoundTest {
 protected:
  Time() { readings = 0; }

  uint64_t convert(uint64_t value, uint32_t from, uint32_t to) {
    return tableEntry<uint64_t(uint64_t, uint32_t, uint32_t)>(&time::kTimeList, 2)(value, from, to);
  }
  uint64_t convertLibraryTime(const char* time, uint32_t to) {
    return tableEntry<uint64_t(const void*, uint32_t)>(&time::kTimeList, 3)(time, to);
  }
};

TEST_F(Time, ListTellsItsName) {
  auto* const getModuleInfo =
      tableEntry<int32_t(const char**, const char**, const char**)>(&time::kTimeList, 0);
  const char* name = nullptr;
  const char* host = "";
  const char* extra = nullptr;
  EXPECT_EQ(getModuleInfo(&name, &host, &extra), kOk);
  EXPECT_STREQ(name, "timeapi");
  EXPECT_EQ(host, nullptr);
  EXPECT_STREQ(extra, "");
  EXPECT_EQ(getModuleInfo(nullptr, nullptr, nullptr), kOk);
}

TEST_F(Time, CurrentTimeJoinsBothHalvesOfTheFileTime) {
  auto* const getCurrent = tableEntry<uint64_t()>(&time::kTimeList, 1);
  EXPECT_EQ(getCurrent(), kStart);
  EXPECT_EQ(getCurrent(), kStart + kSecond);
}

struct ConvertCase {
  const char* name;
  uint64_t value;
  uint32_t from;
  uint32_t to;
  uint64_t result;
  int readings;
};
void PrintTo(const ConvertCase& value, std::ostream* out) { *out << value.name; }

constexpr uint64_t kEpoch = 116'444'736'000'000'000u;
constexpr uint64_t kWrap = UINT64_MAX;

constexpr ConvertCase kConvertCases[] = {
    {"UnixZeroAsFileTime", 0, 0x21, 0x18, kEpoch, 0},
    {"UnixEpochAsSeconds", kEpoch, 0x18, 0x21, 0, 0},
    {"MillisecondsAreTruncated", 1500, 0x22, 0x21, 1, 0},
    {"JustBelowASecondIsNone", 9'999'999, 0x28, 0x21, 0, 0},
    {"SecondsToMilliseconds", 3, 0x21, 0x22, 3000, 0},
    {"SecondsToMicroseconds", 3, 0x21, 0x24, 3'000'000, 0},
    {"SecondsToTicks", 3, 0x21, 0x28, 30'000'000, 0},
    {"MicrosecondsToTicks", 3, 0x24, 0x28, 30, 0},
    {"MicrosecondsToMilliseconds", 12'999, 0x24, 0x22, 12, 0},
    {"TicksToMicroseconds", 129, 0x28, 0x24, 12, 0},
    {"FileTimeSecondsToUnixSeconds", 11'644'473'600u + 7, 0x11, 0x21, 7, 0},
    {"UnknownUnitIsTicks", 70, 0x23, 0x24, 7, 0},
    {"UnitZeroIsTicks", 70, 0x20, 0x24, 7, 0},
    {"UnknownTargetUnitIsTicks", 7, 0x24, 0x2F, 70, 0},

    // A value that would wrap in ticks.
    {"EqualFormatsGiveTheValueBack", kWrap, 0x21, 0x21, kWrap, 0},
    {"EqualRelativeFormatsDoNotAskTheClock", kWrap, 0x01, 0x01, kWrap, 0},
    {"OnlyTheLowByteOfTheSourceCounts", kWrap, 0x121, 0x21, kWrap, 0},
    {"OnlyTheLowByteOfTheTargetCounts", 0, 0x21, 0xFFFFFF18, kEpoch, 0},
    {"SameEpochDoesNotAskTheClock", 2, 0x01, 0x02, 2000, 0},

    {"SpanFromNowAsFileTime", 5, 0x01, 0x18, kStart + 50'000'000, 1},
    {"SpanFromNowAsUnixSeconds", 5, 0x01, 0x21, (kStart + 50'000'000 - kEpoch) / kSecond, 1},
    {"FileTimeAsSpanFromNow", kStart + 70'000'000, 0x18, 0x01, 7, 1},
    {"UnixSecondsAsSpanFromNow", 20'000'000'000u, 0x21, 0x08,
     20'000'000'000u * kSecond + kEpoch - kStart, 1},
    {"UnknownEpochIsRelative", 5, 0x31, 0x18, kStart + 50'000'000, 1},
    {"UnknownTargetEpochIsRelative", kStart + 70'000'000, 0x18, 0xF1, 7, 1},
    {"TwoRelativeEpochsReadTheClockTwice", 5 * kSecond, 0x38, 0x48, 4 * kSecond, 2},

    {"BeforeUnixWraps", 0, 0x18, 0x21, (kWrap - kEpoch + 1) / kSecond, 0},
    {"JustBeforeUnixWraps", kEpoch - 1, 0x18, 0x28, kWrap, 0},
    {"PastAsSpanFromNowWraps", kStart - 1, 0x18, 0x08, kWrap, 1},
    {"ProductsWrap", 1'844'674'407'371, 0x21, 0x28, 448'384, 0},
    {"SumsWrap", kWrap, 0x28, 0x18, kEpoch - 1, 0},
};

class TimeConversion : public Time, public ::testing::WithParamInterface<ConvertCase> {};

TEST_P(TimeConversion, GivesTheValueInTheOtherFormat) {
  EXPECT_EQ(convert(GetParam().value, GetParam().from, GetParam().to), GetParam().result);
  EXPECT_EQ(readings, GetParam().readings);
}

INSTANTIATE_TEST_SUITE_P(All, TimeConversion, ::testing::ValuesIn(kConvertCases),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_F(Time, FormatsHaveTheirNumbers) {
  EXPECT_EQ(kFileTimeFormat, 0x18u);
  EXPECT_EQ(kUnixSecondsFormat, 0x21u);
  EXPECT_EQ(kUnixMillisecondsFormat, 0x22u);
  EXPECT_EQ(kSecondsFromNowFormat, 0x01u);
  EXPECT_EQ(kUnixEpochTicks, 0x019DB1DED53E8000u);
}

// --- Times of the crypto runtime ---

TEST_F(Time, LibraryTimeIsConverted) {
  EXPECT_EQ(convertLibraryTime("20010909T014640", 0x21), 1'000'000'000u);
  EXPECT_EQ(convertLibraryTime("19700101T000000", 0x18), kEpoch);
  EXPECT_EQ(convertLibraryTime("20010909T014640", 0x122), 1'000'000'000'000u);
}

TEST_F(Time, LibraryTimeThatTheRuntimeRefusesIsTheUnixEpoch) {
  EXPECT_EQ(convertLibraryTime("yesterday", 0x18), kEpoch);
  EXPECT_EQ(convertLibraryTime(nullptr, 0x21), 0u);
}

const void* askedTime;
uint64_t startCount;

TEST_F(Time, LibraryTimeReachesTheRuntimeUntouchedWithACountOfZero) {
  spy.time.ToUnixSeconds = [](const runtime::LibraryTime* time, uint64_t* seconds) {
    askedTime = time;
    startCount = *seconds;
    *seconds = 9;
    return kOk;
  };
  startCount = 1;
  EXPECT_EQ(convertLibraryTime("opaque", 0x22), 9000u);
  EXPECT_STREQ(static_cast<const char*>(askedTime), "opaque");
  EXPECT_EQ(startCount, 0u);
}

TEST_F(Time, ResultOfTheRuntimeDoesNotCount) {
  spy.time.ToUnixSeconds = [](const runtime::LibraryTime*, uint64_t* seconds) {
    *seconds = 9;
    return kFail;
  };
  EXPECT_EQ(convertLibraryTime("opaque", 0x21), 9u);
}

TEST_F(Time, LibraryTimeIsTheUnixEpochWithoutARuntime) {
  base::bound = {};
  EXPECT_EQ(convertLibraryTime("20010909T014640", 0x21), 0u);
}

TEST_F(Time, NothingIsTracedOrAllocated) {
  const uint64_t before = spy.allocations();
  (void)convert(5, 0x01, 0x18);
  (void)convertLibraryTime("20010909T014640", 0x21);
  EXPECT_TRUE(spy.trace().empty());
  EXPECT_EQ(spy.allocations(), before);
}

}  // namespace
}  // namespace vexa::test
