#include <gtest/gtest.h>

#include "monitor_fixture.h"
#include "watched_waits.h"

// How long the change thread waits between two looks.
namespace vexa::test {
namespace {

class ChangeThreadWait : public MonitorTest {
 protected:
  // What the thread waits for after its first look, whereupon it is stopped.
  std::vector<uint32_t> waitsAt(uint32_t seconds) {
    store({{"a", {}}});
    const HostEvent looked;
    const int next = adapters().queries() + 1;
    adapters().onQuery([next, &looked](int number) {
      if (number == next) {
        looked.set();
      }
    });
    takeWaits();
    EXPECT_EQ(monitor().start(seconds), kOk);
    looked.wait();
    EXPECT_EQ(monitor().stop(), kOk);
    adapters().onQuery(nullptr);
    return takeWaits();
  }
};

TEST_F(ChangeThreadWait, IsTheIntervalInMilliseconds) {
  EXPECT_EQ(waitsAt(3600), std::vector<uint32_t>{3'600'000});
  EXPECT_EQ(waitsAt(4'294'967), std::vector<uint32_t>{4'294'967'000});
}

TEST_F(ChangeThreadWait, NeverBecomesOneWithoutEnd) {
  EXPECT_EQ(waitsAt(4'294'968), std::vector<uint32_t>{INFINITE - 1});
  EXPECT_EQ(waitsAt(UINT32_MAX), std::vector<uint32_t>{INFINITE - 1});
}

// The body of the thread, run here: its look ends the wait that follows.
TEST_F(ChangeThreadWait, IsTenSecondsUntilAStartSaysOtherwise) {
  store({{"a", {}}});
  adapters().onQuery([this](int) { EXPECT_EQ(monitor().stop(), kOk); });
  takeWaits();
  EXPECT_EQ(monitor().changeThreadMain(), kOk);
  EXPECT_EQ(takeWaits(), std::vector<uint32_t>{10'000});
  adapters().onQuery(nullptr);
}

}  // namespace
}  // namespace vexa::test
