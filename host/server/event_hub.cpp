#include "server/event_hub.h"

#include <algorithm>
#include <utility>

#include "cli/console.h"
#include "server/change_signal.h"

namespace vexahost {
namespace {

// Of WM_POWERBROADCAST.
constexpr uint32_t kSuspends = 4;
constexpr uint32_t kResumes = 18;

}  // namespace

EventHub::EventHub(asio::io_context& context, const Module& module, uint32_t seconds)
    : seconds_(seconds),
      signal_(std::make_unique<ChangeSignal>(context)),
      monitor_(module.make<vexa::IClientMonitor>()),
      power_(context, [this](uint32_t code) { takePower(code); }) {
  check(monitor_->SetChangeEvent(signal_->handle()), "the network monitor");
  check(monitor_->Reset(), "the network monitor");
  check(monitor_->StartChangeThread(seconds_), "the network monitor");
  watch();
}

EventHub::~EventHub() {
  monitor_->StopChangeThread();
  monitor_->SetChangeEvent(nullptr);
}

bool EventHub::add(ChangeListener& listener) {
  if (listeners_.size() >= kMostListeners) {
    return false;
  }
  listeners_.push_back(&listener);
  return true;
}

void EventHub::remove(ChangeListener& listener) {
  listeners_.erase(std::remove(listeners_.begin(), listeners_.end(), &listener), listeners_.end());
}

void EventHub::stop() { signal_->cancel(); }

void EventHub::watch() {
  signal_->wait([this] { take(); });
}

void EventHub::take() {
  // Its thread has ended with the change that it told of; so it is started anew.
  monitor_->StopChangeThread();
  const bool isWatching =
      vexa::succeeded(monitor_->Reset()) && vexa::succeeded(monitor_->StartChangeThread(seconds_));
  if (!isWatching) {
    complain("the network monitor failed; no more changes are told");
  }
  watch();
  tell(std::exchange(nextCause_, Cause::kNetwork));
}

// The monitor logs every code, and tells of a change when the machine is awake again.
void EventHub::takePower(uint32_t code) {
  if (code == kResumes) {
    nextCause_ = Cause::kResume;
  }
  (void)monitor_->OnPowerEvent(code);
  if (code == kSuspends) {
    tell(Cause::kSuspend);
  }
}

void EventHub::tell(Cause cause) {
  ++changes_;
  cause_ = cause;
  const std::vector<ChangeListener*> listeners = listeners_;
  for (ChangeListener* const listener : listeners) {
    listener->changed();
  }
}

}  // namespace vexahost
