#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "module.h"
#include "server/power_events.h"
#include "vexa/client_monitor.h"

namespace asio {
class io_context;
}

namespace vexahost {

class ChangeSignal;

// Whoever wants to know of changes.
class ChangeListener {
 public:
  // The number of changes is another one. The listener may remove itself.
  virtual void changed() = 0;

 protected:
  ~ChangeListener() = default;
};

// Listens to the module's monitor and hands it what the system tells of sleep and wake-up; counts
// what happened, and wakes the listeners. One thread.
class EventHub {
 public:
  enum class Cause { kStart, kNetwork, kSuspend, kResume };

  static constexpr size_t kMostListeners = 128;

  // `seconds`: between two looks at the network.
  EventHub(asio::io_context& context, const Module& module, uint32_t seconds);
  EventHub(const EventHub&) = delete;
  EventHub& operator=(const EventHub&) = delete;
  ~EventHub();

  uint32_t changes() const { return changes_; }
  Cause cause() const { return cause_; }

  // False: there are too many already.
  bool add(ChangeListener& listener);
  void remove(ChangeListener& listener);
  // No more news; the io_context can run out of work.
  void stop();

 private:
  void watch();
  void take();
  void takePower(uint32_t code);
  void tell(Cause cause);

  const uint32_t seconds_;
  std::unique_ptr<ChangeSignal> signal_;
  vexa::InterfaceHolder<vexa::IClientMonitor> monitor_;
  uint32_t changes_ = 0;
  Cause cause_ = Cause::kStart;
  Cause nextCause_ = Cause::kNetwork;  // of the change that the monitor will tell of
  std::vector<ChangeListener*> listeners_;
  PowerEvents power_;  // last: it calls the others
};

}  // namespace vexahost
