#include <gtest/gtest.h>

#include "runtime/runtime_fixture.h"
#include "support/exact_bytes.h"

// SEC_TIME_1
namespace vexa::test {
namespace {

class TimeTableTest : public RuntimeTest {
 protected:
  // The count starts at 77, so that one left alone shows.
  uint64_t seconds(const char* text) {
    uint64_t count = 77;
    const ExactText exact(text);
    const int32_t result =
        spy.time.ToUnixSeconds(reinterpret_cast<const runtime::LibraryTime*>(exact.get()), &count);
    EXPECT_EQ(result == kOk, count != 77);
    EXPECT_LE(result, 0);
    return count;
  }
};

TEST_F(TimeTableTest, TextsGiveUnixSeconds) {
  EXPECT_EQ(seconds("19700101T000000"), 0u);
  EXPECT_EQ(seconds("19700101T000001"), 1u);
  EXPECT_EQ(seconds("20000229T123456"), 951827696u);
  EXPECT_EQ(seconds("20380119T031408"), 2147483648u);
  EXPECT_EQ(seconds("99991231T235959"), 253402300799u);
}

TEST_F(TimeTableTest, MalformedTextsLeaveTheCount) {
  for (const char* const text :
       {"", "1970", "19700101T00000", "19700101T0000000", "19700101 000000", "19700101T0000x0",
        "x9700101T000000", "19691231T235959", "20010229T000000", "20000230T000000",
        "20001301T000000", "20000001T000000", "20000100T000000", "20000101T240000",
        "20000101T006000", "20000101T000060", "-9700101T000000"}) {
    EXPECT_EQ(seconds(text), 77u) << text;
  }
}

// The neighbours of the digits among the characters.
TEST_F(TimeTableTest, EachPlaceTakesDigitsAlone) {
  const std::string good = "20000101T101010";
  for (size_t at = 0; at < good.size(); ++at) {
    for (const char c : {'/', ':', 'T', 'x'}) {
      std::string text = good;
      text[at] = c;
      EXPECT_EQ(seconds(text.c_str()) == 77, text != good) << text;
    }
  }
}

TEST_F(TimeTableTest, NullLeavesTheCount) {
  uint64_t count = 77;
  EXPECT_EQ(spy.time.ToUnixSeconds(nullptr, &count), kNullPointer);
  EXPECT_EQ(count, 77u);
  EXPECT_EQ(spy.time.ToUnixSeconds(reinterpret_cast<const runtime::LibraryTime*>("19700101T000000"),
                                   nullptr),
            kNullPointer);
}

}  // namespace
}  // namespace vexa::test
