// First: Asio brings <windows.h> with the sockets that must come before it.
#include "server/change_signal.h"

#include "module.h"

namespace vexahost {

ChangeSignal::ChangeSignal(asio::io_context& context) : event_(context) {
  const HANDLE event = CreateEventA(nullptr, FALSE, FALSE, nullptr);
  if (event == nullptr) {
    throw HostError("no event for the network monitor");
  }
  event_.assign(event);
}

void* ChangeSignal::handle() { return event_.native_handle(); }

void ChangeSignal::wait(std::function<void()> action) {
  event_.async_wait([action = std::move(action)](const asio::error_code& error) {
    if (!error) {
      action();
    }
  });
}

void ChangeSignal::cancel() {
  asio::error_code ignored;
  event_.cancel(ignored);
}

}  // namespace vexahost
