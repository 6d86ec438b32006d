#pragma once

#include "support/slot.h"
#include "vexa/client_monitor.h"

namespace vexa::test {

// The monitor by the numbers of its slots. Owns one reference.
class RawMonitor {
 public:
  explicit RawMonitor(void* object) : object_(object) {}
  RawMonitor(const RawMonitor&) = delete;
  RawMonitor& operator=(const RawMonitor&) = delete;
  ~RawMonitor() { release(); }

  void* get() const { return object_; }
  void release() {
    if (object_ != nullptr) {
      call<uint32_t>(object_, 2);
      object_ = nullptr;
    }
  }

  int32_t checkNetwork() const { return call<int32_t>(object_, 3); }
  int32_t reset() const { return call<int32_t>(object_, 4); }
  uint32_t status() const { return call<uint32_t>(object_, 5); }
  int32_t onPowerEvent(uint32_t code) const { return call<int32_t, uint32_t>(object_, 6, code); }
  int32_t setChangeEvent(void* event) const { return call<int32_t, void*>(object_, 7, event); }
  int32_t start(uint32_t seconds) const { return call<int32_t, uint32_t>(object_, 8, seconds); }
  int32_t stop() const { return call<int32_t>(object_, 9); }
  int32_t compareNetwork(const void* snapshot) const {
    return call<int32_t, const void*>(object_, 11, snapshot);
  }
  int32_t freeSnapshot() const { return call<int32_t>(object_, 12); }
  int32_t takeSnapshot(void** snapshot) const {
    return call<int32_t, void**>(object_, 13, snapshot);
  }
  int32_t setStatus(uint32_t status) const { return call<int32_t, uint32_t>(object_, 14, status); }
  int32_t changeThreadMain() const { return call<int32_t>(object_, 15); }

 private:
  void* object_;
};

}  // namespace vexa::test
