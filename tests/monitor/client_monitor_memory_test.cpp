#include <gtest/gtest.h>

#include "monitor_fixture.h"
#include "support/sweep.h"

namespace vexa::test {
namespace {

const AddressBytes kIp1 = {2, 0, 0, 0, 10, 0, 0, 1};
const AddressBytes kIp2 = {2, 0, 0, 0, 10, 0, 0, 2};

TEST(MonitorMemory, ACreationThatFailsLeavesNothing) {
  SpyRuntime spy;
  FakeAdapters::instance().reset();
  sweepAllocations(spy, [&spy] {
    GetModuleInterfaceFunction lookup = nullptr;
    void* object = nullptr;
    int32_t result = module_init(&spy.root, &lookup);
    if (succeeded(result)) {
      const void* list = nullptr;
      EXPECT_EQ(lookup(nullptr, kClassFactoryListName, &list), kOk);
      result = static_cast<const ClassFactoryList*>(list)->CreateInstance(
          kClientMonitorClassName, &IID_IClientMonitor, &object);
      EXPECT_TRUE(result == kOk || result == kOutOfMemory) << result;
      EXPECT_EQ(object != nullptr, result == kOk);
    }
    RawReference(object).reset();
    EXPECT_EQ(module_final(), kOk);
    return succeeded(result);
  });
}

TEST_F(MonitorTest, ASnapshotWithoutMemoryIsNull) {
  adapters().show({{"a", {kIp1}}});
  void* snapshot = &spy;
  spy.failAllocation(1);
  EXPECT_EQ(monitor().takeSnapshot(&snapshot), kOutOfMemory);
  EXPECT_EQ(snapshot, nullptr);
}

TEST_F(MonitorTest, ACheckWithoutMemoryKeepsTheStoredList) {
  store({{"a", {kIp1}}});
  adapters().show({{"a", {kIp2}}});
  spy.failAllocation(1);
  EXPECT_EQ(monitor().checkNetwork(), kOutOfMemory);
  EXPECT_EQ(spy.trace(), lines({}));
  EXPECT_EQ(monitor().status(), 0u);
  EXPECT_EQ(monitor().checkNetwork(), kOk);
  EXPECT_EQ(spy.trace(), lines({kAddressChange, kDetected}));
}

TEST_F(MonitorTest, AResetWithoutMemoryKeepsTheStatusAndNoList) {
  store({{"a", {kIp1}}});
  monitor().setStatus(1);
  spy.failAllocation(1);
  EXPECT_EQ(monitor().reset(), kOutOfMemory);
  EXPECT_EQ(monitor().status(), 1u);
  spy.clearTrace();
  EXPECT_EQ(monitor().checkNetwork(), kOk);
  EXPECT_EQ(spy.trace(), lines({kCountChange, kDetected}));
}

TEST_F(MonitorTest, ChecksNeedOneBlockEach) {
  store({{"a", {kIp1}}});
  EXPECT_EQ(sweepAllocations(spy, [this] { return monitor().checkNetwork() == kOk; }), 1);
}

TEST_F(MonitorTest, TheOldListIsFreedBeforeAResetTakesTheNewOne) {
  store({{"a", {kIp1}}});
  const int64_t with = allocation_gate::liveProcessBlocks();
  int64_t meanwhile = 0;
  adapters().onQuery([&meanwhile](int) { meanwhile = allocation_gate::liveProcessBlocks(); });
  ASSERT_EQ(monitor().reset(), kOk);
  EXPECT_EQ(meanwhile, with - 1);
  EXPECT_EQ(allocation_gate::liveProcessBlocks(), with);
  ASSERT_EQ(monitor().freeSnapshot(), kOk);
  EXPECT_EQ(allocation_gate::liveProcessBlocks(), with - 1);
}

TEST_F(MonitorTest, TheListGoesWithTheObject) {
  store({{"a", {kIp1}}});
  stop();
  const int64_t with = allocation_gate::liveProcessBlocks();
  monitor().release();
  EXPECT_EQ(allocation_gate::liveProcessBlocks(), with - 2);  // the object, too
}

TEST_F(MonitorTest, AThreadWithoutMemoryGoesOn) {
  store({{"a", {kIp1}}});
  const HostEvent looked;
  const int before = adapters().queries();
  adapters().onQuery([before, &looked](int number) {
    if (number == before + 4) {
      looked.set();
    }
  });
  spy.failAllocationsFrom(1);
  EXPECT_EQ(monitor().start(0), kOk);
  looked.wait();
  EXPECT_EQ(monitor().stop(), kOk);
  spy.allowAllocations();
  EXPECT_EQ(monitor().status(), 0u);
  EXPECT_EQ(monitor().checkNetwork(), kOk);
  EXPECT_EQ(monitor().status(), 0u);
}

}  // namespace
}  // namespace vexa::test
