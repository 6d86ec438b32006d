#pragma once

#include <cstdint>
#include <functional>
#include <memory>

namespace asio {
class io_context;
}

namespace vexahost {

// What Windows tells of sleep and wake-up. Other systems tell nothing.
class PowerEvents {
 public:
  // A code of WM_POWERBROADCAST; called from the io_context.
  using Told = std::function<void(uint32_t code)>;

  PowerEvents(asio::io_context& context, Told told);
  PowerEvents(const PowerEvents&) = delete;
  PowerEvents& operator=(const PowerEvents&) = delete;
  ~PowerEvents();

 private:
  class Window;
  std::unique_ptr<Window> window_;
};

}  // namespace vexahost
