#include "server/event_hub.h"

#include <algorithm>
#include <cstdio>

#include "server/change_signal.h"

namespace vexahost {

EventHub::EventHub(asio::io_context& context, const Module& module, uint32_t seconds)
    : seconds_(seconds),
      signal_(std::make_unique<ChangeSignal>(context)),
      monitor_(module.create<vexa::IClientMonitor>(vexa::kClientMonitorClassName,
                                                   vexa::IID_IClientMonitor)) {
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
    std::fprintf(stderr, "vexahost: the network monitor failed; no more changes are told\n");
  }
  watch();
  ++changes_;
  cause_ = Cause::kNetwork;
  const std::vector<ChangeListener*> listeners = listeners_;
  for (ChangeListener* const listener : listeners) {
    listener->changed();
  }
}

}  // namespace vexahost
