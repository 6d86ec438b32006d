#include <gtest/gtest.h>

#include "monitor_fixture.h"

namespace vexa::test {
namespace {

// The adapters of the machine that runs the test.
class Machine : public ModuleTest {
 protected:
  void SetUp() override {
    ModuleTest::SetUp();
    monitor_ = std::make_unique<RawMonitor>(create(kClientMonitorClassName, IID_IClientMonitor));
    spy.clearTrace();
  }
  void TearDown() override {
    monitor_.reset();
    ModuleTest::TearDown();
  }

  RawMonitor& monitor() { return *monitor_; }

 private:
  std::unique_ptr<RawMonitor> monitor_;
};

TEST_F(Machine, DoesNotChangeBetweenTwoLooks) {
  ASSERT_EQ(monitor().reset(), kOk);
  EXPECT_EQ(monitor().checkNetwork(), kOk);
  EXPECT_EQ(monitor().checkNetwork(), kOk);
  EXPECT_EQ(monitor().status(), 0u);
  EXPECT_EQ(spy.trace(), lines({"Reset internal status", kStatusReset}));
}

TEST_F(Machine, IsNewWithoutAReset) {
  EXPECT_EQ(monitor().checkNetwork(), kOk);
  EXPECT_EQ(spy.trace(), lines({kCountChange, kDetected}));
}

TEST_F(Machine, HasNamedAdapters) {
  void* snapshot = nullptr;
  ASSERT_EQ(monitor().takeSnapshot(&snapshot), kOk);
  ASSERT_NE(snapshot, nullptr);
  const auto* adapter = static_cast<const IP_ADAPTER_ADDRESSES*>(snapshot);
  for (; adapter != nullptr; adapter = adapter->Next) {
    ASSERT_NE(adapter->AdapterName, nullptr);
    EXPECT_STRNE(adapter->AdapterName, "");
    for (const auto* address = adapter->FirstUnicastAddress; address != nullptr;
         address = address->Next) {
      EXPECT_GT(address->Address.iSockaddrLength, 0);
    }
  }
  EXPECT_TRUE(HeapFree(GetProcessHeap(), 0, snapshot));
}

TEST_F(Machine, IsWatchedByTheThread) {
  const HostEvent changed;
  monitor().setChangeEvent(changed.get());
  EXPECT_EQ(monitor().start(0), kOk);
  changed.wait();  // for the list that was never taken
  EXPECT_EQ(monitor().stop(), kOk);
  EXPECT_EQ(monitor().status(), 1u);
}

}  // namespace
}  // namespace vexa::test
