#pragma once

#include "support/raw_reference.h"
#include "vexa/client_monitor.h"

namespace vexa::test {

// The monitor by the numbers of its slots. Owns one reference.
class RawMonitor : public RawReference {
 public:
  using RawReference::RawReference;

  int32_t checkNetwork() const { return call<int32_t>(get(), 3); }
  int32_t reset() const { return call<int32_t>(get(), 4); }
  uint32_t status() const { return call<uint32_t>(get(), 5); }
  int32_t onPowerEvent(uint32_t code) const { return call<int32_t, uint32_t>(get(), 6, code); }
  int32_t setChangeEvent(void* event) const { return call<int32_t, void*>(get(), 7, event); }
  int32_t start(uint32_t seconds) const { return call<int32_t, uint32_t>(get(), 8, seconds); }
  int32_t stop() const { return call<int32_t>(get(), 9); }
  int32_t compareNetwork(const void* snapshot) const {
    return call<int32_t, const void*>(get(), 11, snapshot);
  }
  int32_t freeSnapshot() const { return call<int32_t>(get(), 12); }
  int32_t takeSnapshot(void** snapshot) const { return call<int32_t, void**>(get(), 13, snapshot); }
  int32_t setStatus(uint32_t status) const { return call<int32_t, uint32_t>(get(), 14, status); }
  int32_t changeThreadMain() const { return call<int32_t>(get(), 15); }
};

}  // namespace vexa::test
