#include "monitor/client_monitor.h"

#include <algorithm>
#include <utility>

#include "base/tables.h"
#include "base/trace.h"
#include "monitor/network_compare.h"

namespace vexa::monitor {
namespace {

constexpr uint32_t kLongestWait = INFINITE - 1;

void log(const char* text) { base::traceText(base::kTraceInfo, nullptr, text); }

DWORD WINAPI runChangeThread(void* monitor) {
  return static_cast<DWORD>(static_cast<IClientMonitor*>(monitor)->ChangeThreadMain());
}

const base::InterfaceMapRow kMap[] = {
    base::mapRow<CClientMonitor, IClientMonitor>(IID_IClientMonitor),
    base::mapEnd(),
};

}  // namespace

const base::InterfaceMapRow* CClientMonitor::InterfaceMap() { return kMap; }

CClientMonitor::~CClientMonitor() { endThread(); }

int32_t CClientMonitor::CheckNetwork() {
  base::ScopedLock lock(lock_);
  base::ProcessBlock<AdapterSnapshot> snapshot;
  if (const int32_t result = TakeSnapshot(snapshot.put()); failed(result)) {
    return result;
  }
  (void)CompareNetwork(snapshot.get());
  (void)FreeSnapshot();
  snapshot_ = std::move(snapshot);
  return kOk;
}

int32_t CClientMonitor::Reset() {
  log("Client Status Monitor: Reset internal status");
  base::ScopedLock lock(lock_);
  (void)FreeSnapshot();
  if (const int32_t result = TakeSnapshot(snapshot_.put()); failed(result)) {
    return result;
  }
  return SetStatus(kUnchanged);
}

int32_t CClientMonitor::OnPowerEvent(uint32_t code) {
  if (code == PBT_APMRESUMEAUTOMATIC) {
    (void)SetStatus(kChanged);
  }
  base::TraceFormat<uint32_t> format = "Client Status Monitor: Ignoring Power-Event: %x";
  switch (code) {
    case PBT_APMSUSPEND:
    case PBT_APMSTANDBY:
      format = "Client Status Monitor: Goto Hibernate/Sleep from Power Event: %x";
      break;
    case PBT_APMRESUMECRITICAL:
    case PBT_APMRESUMESUSPEND:
    case PBT_APMRESUMESTANDBY:
    case PBT_APMRESUMEAUTOMATIC:
      format = "Client Status Monitor: Resume from Power Event: %x";
      break;
    default:
      break;
  }
  base::traceFormat(base::kTraceInfo, nullptr, format, code);
  return kOk;
}

int32_t CClientMonitor::SetChangeEvent(void* event) {
  changeEvent_ = event;
  return kOk;
}

int32_t CClientMonitor::StartChangeThread(uint32_t seconds) {
  log("Client Status Monitor: start Change Thread");
  base::ScopedLock lock(threadLock_);
  endThread();
  stop_ = 0;
  stopEvent_.Reset();
  interval_ = seconds;
  base::Thread::StartHeld<runChangeThread>(&changeThread_, static_cast<IClientMonitor*>(this));
  return kOk;
}

int32_t CClientMonitor::StopChangeThread() {
  log("Client Status Monitor: stop Change Thread");
  base::ScopedLock lock(threadLock_);
  endThread();
  return kOk;
}

void CClientMonitor::endThread() {
  stop_ = 1;
  (void)stopEvent_.Signal();
  (void)changeThread_.Wait(INFINITE);
}

int32_t CClientMonitor::CompareNetwork(const AdapterSnapshot* snapshot) {
  if (!base::bound.strings) {
    return kOk;  // names cannot be compared, which is no change
  }
  base::ScopedLock lock(lock_);
  const auto report = [](void* monitor, const char* change) {
    log(change);
    (void)static_cast<IClientMonitor*>(monitor)->SetStatus(kChanged);
  };
  compareAdapters(snapshot, snapshot_.get(), report, static_cast<IClientMonitor*>(this));
  return kOk;
}

int32_t CClientMonitor::FreeSnapshot() {
  base::ScopedLock lock(lock_);
  snapshot_.reset();
  return kOk;
}

int32_t CClientMonitor::TakeSnapshot(AdapterSnapshot** snapshot) {
  if (snapshot == nullptr) {
    return kInvalidArgument;
  }
  *snapshot = nullptr;
  ULONG size = 0;
  const ULONG flags = GAA_FLAG_INCLUDE_PREFIX;
  if (GetAdaptersAddresses(AF_UNSPEC, flags, nullptr, nullptr, &size) != ERROR_BUFFER_OVERFLOW) {
    return kOk;
  }
  void* const block = HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, size);
  if (block == nullptr) {
    return kOutOfMemory;
  }
  // When the list has grown meanwhile, the block holds what there was room for, or nothing.
  (void)GetAdaptersAddresses(AF_UNSPEC, flags, nullptr, static_cast<IP_ADAPTER_ADDRESSES*>(block),
                             &size);
  *snapshot = static_cast<AdapterSnapshot*>(block);
  return kOk;
}

int32_t CClientMonitor::SetStatus(uint32_t status) {
  status_ = status;
  const HANDLE event = changeEvent_;
  if (status != kUnchanged) {
    log("Client Status Monitor: Client status change detected");
    if (event != nullptr) {
      SetEvent(event);
    }
  } else {
    log("Client Status Monitor: Client status reset");
    if (event != nullptr) {
      ResetEvent(event);
    }
  }
  return kOk;
}

int32_t CClientMonitor::ChangeThreadMain() {
  while (status_ == kUnchanged && stop_ == 0) {
    (void)CheckNetwork();
    const uint64_t milliseconds = uint64_t{interval_} * 1000;
    (void)stopEvent_.Wait(static_cast<uint32_t>(std::min<uint64_t>(milliseconds, kLongestWait)));
  }
  return kOk;
}

int32_t CClientMonitor::Unload(uint32_t pass) {
  {
    base::ScopedLock lock(threadLock_);
    endThread();
  }
  return CSingletonFactoryImpl::Unload(pass);
}

}  // namespace vexa::monitor
