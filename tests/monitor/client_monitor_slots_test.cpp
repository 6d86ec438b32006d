#include <gtest/gtest.h>

#include "monitor_fixture.h"

namespace vexa::test {
namespace {

const AddressBytes kIp = {2, 0, 0, 0, 10, 0, 0, 1};

TEST_F(MonitorTest, IsOneObjectPerModule) {
  RawMonitor second(create(kClientMonitorClassName, IID_IClientMonitor));
  EXPECT_EQ(second.get(), monitor().get());
  RawMonitor third(create(kClientMonitorClassName, IID_IComponent));
  EXPECT_EQ(third.get(), monitor().get());
}

TEST_F(MonitorTest, HasNoOtherInterface) {
  constexpr Guid kOther{1, 2, 3, {4}};
  void* object = &spy;
  EXPECT_EQ(create(kClientMonitorClassName, kOther, &object), kNoInterface);
  EXPECT_EQ(object, nullptr);
  object = &spy;
  EXPECT_EQ((call<int32_t, const Guid*, void**>(monitor().get(), 0, &kOther, &object)),
            kNoInterface);
  EXPECT_EQ(object, nullptr);
}

TEST_F(MonitorTest, CountsItsReferences) {
  void* const object = monitor().get();
  const uint32_t count = call<uint32_t>(object, 1);
  EXPECT_EQ(call<uint32_t>(object, 2), count - 1);
  void* same = nullptr;
  EXPECT_EQ((call<int32_t, const Guid*, void**>(object, 0, &IID_IClientMonitor, &same)), kOk);
  EXPECT_EQ(same, object);
  EXPECT_EQ(call<uint32_t>(object, 2), count - 1);
}

TEST_F(MonitorTest, BeginsUnchanged) { EXPECT_EQ(monitor().status(), 0u); }

// --- Snapshots ---

TEST_F(MonitorTest, ASnapshotNeedsAPlace) {
  EXPECT_EQ(monitor().takeSnapshot(nullptr), kInvalidArgument);
  EXPECT_TRUE(adapters().calls().empty());
}

TEST_F(MonitorTest, ASnapshotAsksForTheSizeAndThenForAllFamiliesWithPrefixes) {
  adapters().show({{"a", {kIp}}});
  void* snapshot = nullptr;
  ASSERT_EQ(monitor().takeSnapshot(&snapshot), kOk);
  const auto calls = adapters().calls();
  ASSERT_EQ(calls.size(), 2u);
  for (const auto& made : calls) {
    EXPECT_EQ(made.family, ULONG{AF_UNSPEC});
    EXPECT_EQ(made.flags, ULONG{GAA_FLAG_INCLUDE_PREFIX});
    EXPECT_FALSE(made.hasReserved);
  }
  EXPECT_FALSE(calls[0].hasBuffer);
  EXPECT_TRUE(calls[1].hasBuffer);
  const auto* const adapter = static_cast<const IP_ADAPTER_ADDRESSES*>(snapshot);
  EXPECT_STREQ(adapter->AdapterName, "a");
  EXPECT_TRUE(HeapFree(GetProcessHeap(), 0, snapshot));
}

TEST_F(MonitorTest, ASnapshotIsNullUnlessTheSizeIsTold) {
  for (const ULONG answer : {ULONG{NO_ERROR}, ULONG{ERROR_NO_DATA}, ULONG{ERROR_INVALID_PARAMETER},
                             ULONG{ERROR_NOT_ENOUGH_MEMORY}}) {
    adapters().reset();
    adapters().show({{"a", {}}});
    adapters().answerQuery(answer);
    void* snapshot = &spy;
    EXPECT_EQ(monitor().takeSnapshot(&snapshot), kOk) << answer;
    EXPECT_EQ(snapshot, nullptr) << answer;
    EXPECT_EQ(adapters().calls().size(), 1u) << answer;
  }
}

TEST_F(MonitorTest, TheResultOfTheSecondCallIsIgnored) {
  adapters().show({{"a", {}}});
  adapters().answerFill(ERROR_BUFFER_OVERFLOW);
  void* snapshot = nullptr;
  EXPECT_EQ(monitor().takeSnapshot(&snapshot), kOk);
  ASSERT_NE(snapshot, nullptr);
  // The block was cleared, so that it reads as one adapter without anything.
  const auto* const adapter = static_cast<const IP_ADAPTER_ADDRESSES*>(snapshot);
  EXPECT_EQ(adapter->Next, nullptr);
  EXPECT_EQ(adapter->AdapterName, nullptr);
  EXPECT_EQ(adapter->FirstUnicastAddress, nullptr);
  EXPECT_TRUE(HeapFree(GetProcessHeap(), 0, snapshot));
}

TEST_F(MonitorTest, AListThatGrewMeanwhileIsComparedAsOneWithoutAName) {
  store({{"a", {}}});
  adapters().answerFill(ERROR_BUFFER_OVERFLOW);
  EXPECT_EQ(monitor().checkNetwork(), kOk);
  EXPECT_EQ(spy.trace(), lines({kAdapterChange, kDetected}));
}

TEST_F(MonitorTest, TakingASnapshotLeavesTheStoredOneAlone) {
  store({{"a", {}}});
  adapters().show({{"b", {}}});
  void* snapshot = nullptr;
  ASSERT_EQ(monitor().takeSnapshot(&snapshot), kOk);
  EXPECT_TRUE(HeapFree(GetProcessHeap(), 0, snapshot));
  check({{"a", {}}});
  EXPECT_EQ(spy.trace(), lines({}));
}

TEST_F(MonitorTest, AFreedSnapshotIsGone) {
  store({{"a", {}}});
  EXPECT_EQ(monitor().freeSnapshot(), kOk);
  EXPECT_EQ(monitor().freeSnapshot(), kOk);
  check({{"a", {}}});
  EXPECT_EQ(spy.trace(), lines({kCountChange, kDetected}));
}

TEST_F(MonitorTest, ComparingWithNoListIsComparingWithNoAdapters) {
  store({{"a", {}}});
  EXPECT_EQ(monitor().compareNetwork(nullptr), kOk);
  EXPECT_EQ(spy.trace(), lines({kCountChange, kDetected}));
}

// --- Status and event ---

TEST_F(MonitorTest, AStatusIsStoredAndTellsTheHost) {
  const HostEvent event;
  EXPECT_EQ(monitor().setChangeEvent(event.get()), kOk);
  EXPECT_EQ(spy.trace(), lines({}));
  EXPECT_EQ(monitor().setStatus(1), kOk);
  EXPECT_EQ(monitor().status(), 1u);
  EXPECT_TRUE(event.isSet());
  EXPECT_EQ(monitor().setStatus(0), kOk);
  EXPECT_EQ(monitor().status(), 0u);
  EXPECT_FALSE(event.isSet());
  EXPECT_EQ(spy.trace(), lines({kDetected, kStatusReset}));
}

TEST_F(MonitorTest, EveryStatusButZeroIsAChange) {
  const HostEvent event;
  monitor().setChangeEvent(event.get());
  EXPECT_EQ(monitor().setStatus(7), kOk);
  EXPECT_EQ(monitor().status(), 7u);
  EXPECT_TRUE(event.isSet());
  EXPECT_EQ(spy.trace(), lines({kDetected}));
}

TEST_F(MonitorTest, ASecondChangeIsToldAgain) {
  const HostEvent event;
  monitor().setChangeEvent(event.get());
  monitor().setStatus(1);
  ResetEvent(event.get());
  monitor().setStatus(1);
  EXPECT_TRUE(event.isSet());
  EXPECT_EQ(spy.trace(), lines({kDetected, kDetected}));
}

TEST_F(MonitorTest, WithoutAnEventTheStatusIsSetAllTheSame) {
  const HostEvent event;
  monitor().setChangeEvent(event.get());
  monitor().setChangeEvent(nullptr);
  monitor().setStatus(1);
  EXPECT_EQ(monitor().status(), 1u);
  EXPECT_FALSE(event.isSet());
}

TEST_F(MonitorTest, ANewEventIsNotToldOfAnOldChange) {
  monitor().setStatus(1);
  const HostEvent event;
  monitor().setChangeEvent(event.get());
  EXPECT_FALSE(event.isSet());
}

TEST_F(MonitorTest, ResetResetsTheEvent) {
  const HostEvent event;
  monitor().setChangeEvent(event.get());
  event.set();
  EXPECT_EQ(monitor().reset(), kOk);
  EXPECT_FALSE(event.isSet());
}

TEST_F(MonitorTest, TheHostsEventStaysOpen) {
  const HostEvent event;
  monitor().setChangeEvent(event.get());
  monitor().release();
  stop();
  event.set();
  EXPECT_TRUE(event.isSet());
}

// --- Power ---

struct PowerCase {
  uint32_t code;
  const char* message;

  // GoogleTest would print the bytes, padding included.
  friend void PrintTo(const PowerCase& tested, std::ostream* out) { *out << tested.message; }
};

class PowerEvent : public MonitorTest, public testing::WithParamInterface<PowerCase> {};

TEST_P(PowerEvent, IsLoggedAndNoChange) {
  const HostEvent event;
  monitor().setChangeEvent(event.get());
  EXPECT_EQ(monitor().onPowerEvent(GetParam().code), kOk);
  EXPECT_EQ(spy.trace(), lines({GetParam().message}));
  EXPECT_EQ(monitor().status(), 0u);
  EXPECT_FALSE(event.isSet());
}

INSTANTIATE_TEST_SUITE_P(Codes, PowerEvent,
                         testing::Values(PowerCase{4, "Goto Hibernate/Sleep from Power Event: 4"},
                                         PowerCase{5, "Goto Hibernate/Sleep from Power Event: 5"},
                                         PowerCase{6, "Resume from Power Event: 6"},
                                         PowerCase{7, "Resume from Power Event: 7"},
                                         PowerCase{8, "Resume from Power Event: 8"},
                                         PowerCase{0, "Ignoring Power-Event: 0"},
                                         PowerCase{9, "Ignoring Power-Event: 9"},
                                         PowerCase{10, "Ignoring Power-Event: a"},
                                         PowerCase{17, "Ignoring Power-Event: 11"},
                                         PowerCase{0x8013, "Ignoring Power-Event: 8013"},
                                         PowerCase{0xFFFFFFFF, "Ignoring Power-Event: ffffffff"}),
                         [](const auto& tested) {
                           return "Code" + std::to_string(tested.param.code);
                         });

TEST_F(MonitorTest, OnlyTheAutomaticResumeIsAChange) {
  const HostEvent event;
  monitor().setChangeEvent(event.get());
  EXPECT_EQ(monitor().onPowerEvent(18), kOk);
  EXPECT_EQ(spy.trace(), lines({kDetected, "Resume from Power Event: 12"}));
  EXPECT_EQ(monitor().status(), 1u);
  EXPECT_TRUE(event.isSet());
}

}  // namespace
}  // namespace vexa::test
