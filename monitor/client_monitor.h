#pragma once

#include <atomic>
#include <cstdint>

#include "base/com_object.h"
#include "base/event.h"
#include "base/lock.h"
#include "base/thread.h"
#include "pal/windows_api.h"
#include "vexa/client_monitor.h"

namespace vexa::monitor {

// Two locks: `lock_` guards the snapshot and makes a check, or a reset, one step; `threadLock_`
// guards the change thread's handle. The change thread takes only the former, and never while it
// waits, so that whoever stops it may wait for it under the latter.
class CClientMonitor : public IClientMonitor,
                       public base::CSingletonFactoryImpl<CClientMonitor>,
                       public base::CComObjectRoot {
 public:
  // Events, a thread and blocks of the process heap.
  static constexpr bool kOutlivesRuntime = true;

  static const base::InterfaceMapRow* InterfaceMap();

  CClientMonitor() = default;
  CClientMonitor(const CClientMonitor&) = delete;
  CClientMonitor& operator=(const CClientMonitor&) = delete;

  int32_t CheckNetwork() override;
  int32_t Reset() override;
  uint32_t GetStatus() override { return status_; }
  int32_t OnPowerEvent(uint32_t code) override;
  int32_t SetChangeEvent(void* event) override;
  int32_t StartChangeThread(uint32_t seconds) override;
  int32_t StopChangeThread() override;
  int32_t CompareNetwork(const AdapterSnapshot* snapshot) override;
  int32_t FreeSnapshot() override;
  int32_t TakeSnapshot(AdapterSnapshot** snapshot) override;
  int32_t SetStatus(uint32_t status) override;
  int32_t ChangeThreadMain() override;

  // Ends the thread before the tables that it uses are released.
  int32_t Unload(uint32_t pass) override;

 protected:
  ~CClientMonitor();

 private:
  void endThread();

  base::ProcessBlock<AdapterSnapshot> snapshot_;
  std::atomic<uint32_t> status_ = kUnchanged;
  std::atomic<HANDLE> changeEvent_ = nullptr;
  base::Thread changeThread_;
  std::atomic<uint32_t> stop_ = 0;
  std::atomic<uint32_t> interval_ = 10;  // seconds
  base::Event stopEvent_;
  base::StaticCriticalSection lock_;
  base::StaticCriticalSection threadLock_;
};

}  // namespace vexa::monitor
