#include <gtest/gtest.h>

#include "crowd.h"
#include "monitor_fixture.h"

namespace vexa::test {
namespace {

const AddressBytes kIp1 = {2, 0, 0, 0, 10, 0, 0, 1};
const AddressBytes kIp2 = {2, 0, 0, 0, 10, 0, 0, 2};

// Networks that differ from each other in every way.
const AdapterRows kNetworks[] = {
    {{"a", {kIp1}}, {"b", {kIp2}}},
    {{"a", {kIp2}}, {"b", {kIp2}}},
    {{"a", {kIp1}}, {"b", {kIp2}, IfOperStatusDown}},
    {{"a", {kIp1}}, {"c", {kIp2}}},
    {{"a", {kIp1}}},
    {},
};

class MonitorRace : public MonitorTest {
 protected:
  static constexpr int kRounds = 200;

  // Another network at every look.
  void SetUp() override {
    MonitorTest::SetUp();
    adapters().onQuery([this](int number) {
      adapters().show(kNetworks[static_cast<size_t>(number) % std::size(kNetworks)]);
    });
    monitor().setChangeEvent(event_.get());
  }
  void TearDown() override {
    monitor().stop();
    // A network that rests is no change after a reset, whatever went before.
    adapters().onQuery(nullptr);
    EXPECT_EQ(monitor().reset(), kOk);
    EXPECT_EQ(monitor().status(), 0u);
    EXPECT_FALSE(event_.isSet());
    EXPECT_EQ(monitor().checkNetwork(), kOk);
    EXPECT_EQ(monitor().status(), 0u);
    MonitorTest::TearDown();
  }

  template <class Operation>
  static std::function<void()> repeat(Operation operation) {
    return [operation] {
      for (int i = 0; i < kRounds; ++i) {
        operation();
      }
    };
  }

  HostEvent event_;
};

TEST_F(MonitorRace, TheHostUsesTheMonitorWhileItsThreadRuns) {
  ASSERT_EQ(monitor().start(0), kOk);
  runTogether({
      repeat([this] { EXPECT_EQ(monitor().reset(), kOk); }),
      repeat([this] { EXPECT_EQ(monitor().checkNetwork(), kOk); }),
      repeat([this] { EXPECT_EQ(monitor().onPowerEvent(18), kOk); }),
      repeat([this] { EXPECT_EQ(monitor().onPowerEvent(10), kOk); }),
      repeat([this] { EXPECT_LE(monitor().status(), 1u); }),
      repeat([this] { EXPECT_EQ(monitor().setChangeEvent(event_.get()), kOk); }),
  });
}

TEST_F(MonitorRace, TheThreadIsStartedAndStoppedFromEverywhere) {
  runTogether({
      repeat([this] { EXPECT_EQ(monitor().start(0), kOk); }),
      repeat([this] { EXPECT_EQ(monitor().start(1'000'000), kOk); }),
      repeat([this] { EXPECT_EQ(monitor().stop(), kOk); }),
      repeat([this] { EXPECT_EQ(monitor().stop(), kOk); }),
      repeat([this] { EXPECT_EQ(monitor().reset(), kOk); }),
      repeat([this] { EXPECT_EQ(monitor().onPowerEvent(18), kOk); }),
      repeat([this] { EXPECT_LE(monitor().status(), 1u); }),
      repeat([this] { EXPECT_EQ(monitor().checkNetwork(), kOk); }),
  });
}

TEST_F(MonitorRace, SnapshotsAreTakenComparedAndFreed) {
  runTogether({
      repeat([this] { EXPECT_EQ(monitor().reset(), kOk); }),
      repeat([this] { EXPECT_EQ(monitor().freeSnapshot(), kOk); }),
      repeat([this] { EXPECT_EQ(monitor().checkNetwork(), kOk); }),
      repeat([this] {
        void* snapshot = nullptr;
        EXPECT_EQ(monitor().takeSnapshot(&snapshot), kOk);
        EXPECT_EQ(monitor().compareNetwork(snapshot), kOk);
        if (snapshot != nullptr) {
          HeapFree(GetProcessHeap(), 0, snapshot);
        }
      }),
  });
}

// What a host does: wait for the event, reset, start again.
TEST_F(MonitorRace, ChangesAreFollowedOneAfterTheOther) {
  for (int i = 0; i < kRounds; ++i) {
    ASSERT_EQ(monitor().reset(), kOk);
    ASSERT_EQ(monitor().start(0), kOk);
    event_.wait();
    EXPECT_EQ(monitor().status(), 1u);
    ASSERT_EQ(monitor().stop(), kOk);
  }
}

TEST_F(MonitorRace, TheModuleEndsUnderTheRunningThread) {
  ASSERT_EQ(monitor().start(0), kOk);
  stop();
}

}  // namespace
}  // namespace vexa::test
