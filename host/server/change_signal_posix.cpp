#include <sys/eventfd.h>
#include <unistd.h>

#include <cstdint>

#include "module.h"
#include "server/change_signal.h"

namespace vexahost {

ChangeSignal::ChangeSignal(asio::io_context& context) : event_(context) {
  const int event = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
  if (event < 0) {
    throw HostError("no event for the network monitor");
  }
  event_.assign(event);
}

// As vexa/client_monitor.h has it: the low bit tells a descriptor from a handle.
void* ChangeSignal::handle() {
  return reinterpret_cast<void*>(static_cast<uintptr_t>(event_.native_handle()) << 2 | 1);
}

void ChangeSignal::wait(std::function<void()> action) {
  event_.async_wait(asio::posix::stream_descriptor::wait_read,
                    [this, action = std::move(action)](const asio::error_code& error) {
                      if (error) {
                        return;
                      }
                      uint64_t count = 0;
                      if (read(event_.native_handle(), &count, sizeof(count)) == sizeof(count)) {
                        action();
                      } else {
                        wait(action);  // the monitor took it back meanwhile
                      }
                    });
}

void ChangeSignal::cancel() {
  asio::error_code ignored;
  event_.cancel(ignored);
}

}  // namespace vexahost
