#pragma once

#include <memory>
#include <string>
#include <vector>

#include "base/trace.h"
#include "base/windows_holders.h"
#include "fake_adapters.h"
#include "pal/windows_api.h"
#include "raw_monitor.h"
#include "support/allocation_gate.h"
#include "support/module_fixture.h"

namespace vexa::test {

// A Windows event with manual reset, as a host would supply.
class HostEvent {
 public:
  void* get() const { return handle_.get(); }
  bool isSet() const { return WaitForSingleObject(get(), 0) == WAIT_OBJECT_0; }
  void set() const { SetEvent(get()); }
  // For as long as it takes.
  void wait() const { WaitForSingleObject(get(), INFINITE); }

 private:
  base::KernelHandle handle_{CreateEventA(nullptr, TRUE, FALSE, nullptr)};
};

// A message of the monitor: level 4, without a source name of its own.
inline TraceLine line(const std::string& text) {
  return {4, base::defaultTraceSource(), "Client Status Monitor: " + text};
}
inline std::vector<TraceLine> lines(const std::vector<std::string>& texts) {
  std::vector<TraceLine> all;
  for (const std::string& text : texts) {
    all.push_back(line(text));
  }
  return all;
}

inline const std::string kCountChange = "Detect Network Change (new or removed network interface)";
inline const std::string kAdapterChange = "Detect Network Change (network interface)";
inline const std::string kStatusChange = "Detect Network Change (network interface status)";
inline const std::string kAddressChange = "Detect Network Change (IP address)";
inline const std::string kDetected = "Client status change detected";
inline const std::string kStatusReset = "Client status reset";

// The monitor of a started module over fake adapters.
class MonitorTest : public ModuleTest {
 protected:
  void SetUp() override {
    FakeAdapters::instance().reset();
    ModuleTest::SetUp();
    monitor_ = std::make_unique<RawMonitor>(create(kClientMonitorClassName, IID_IClientMonitor));
    ASSERT_NE(monitor().get(), nullptr);
    spy.clearTrace();
  }
  void TearDown() override {
    monitor_.reset();
    ModuleTest::TearDown();
    EXPECT_EQ(allocation_gate::liveProcessBlocks(), processBlocks_);
    FakeAdapters::instance().reset();
  }

  RawMonitor& monitor() { return *monitor_; }
  FakeAdapters& adapters() { return FakeAdapters::instance(); }

  // Shows the rows and stores a snapshot of them.
  void store(const AdapterRows& rows) {
    adapters().show(rows);
    ASSERT_EQ(monitor().reset(), kOk);
    spy.clearTrace();
  }
  // Shows the rows and checks.
  void check(const AdapterRows& rows) {
    adapters().show(rows);
    ASSERT_EQ(monitor().checkNetwork(), kOk);
  }

 private:
  int64_t processBlocks_ = allocation_gate::liveProcessBlocks();
  std::unique_ptr<RawMonitor> monitor_;
};

}  // namespace vexa::test
