#pragma once

#include <asio/io_context.hpp>
#ifdef _WIN32
#include <asio/windows/object_handle.hpp>
#else
#include <asio/posix/stream_descriptor.hpp>
#endif
#include <functional>

namespace vexahost {

// The event that the module's monitor sets, as something that an io_context can wait for.
class ChangeSignal {
 public:
  explicit ChangeSignal(asio::io_context& context);
  ChangeSignal(const ChangeSignal&) = delete;
  ChangeSignal& operator=(const ChangeSignal&) = delete;

  // For IClientMonitor::SetChangeEvent; owned by this.
  void* handle();
  // Calls `action` once, from the io_context, when the event is set, and takes it back then. One
  // wait at a time.
  void wait(std::function<void()> action);
  // A wait that is under way ends without a call.
  void cancel();

 private:
#ifdef _WIN32
  asio::windows::object_handle event_;
#else
  asio::posix::stream_descriptor event_;
#endif
};

}  // namespace vexahost
