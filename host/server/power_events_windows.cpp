// First: Asio brings <windows.h> with the sockets that must come before it.
#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <future>
#include <string>
#include <thread>
#include <utility>

#include "cli/console.h"
#include "server/power_events.h"

namespace vexahost {

// A window that is never seen, in a thread of its own: its messages are the only way that reaches a
// console program.
class PowerEvents::Window {
 public:
  Window(asio::io_context& context, Told told)
      : context_(context), told_(std::move(told)), thread_([this] { run(); }) {
    window_ = made_.get_future().get();
    if (window_ == nullptr) {
      complain("Windows tells nothing of sleep and wake-up (error " + std::to_string(error_) + ")");
    }
  }
  Window(const Window&) = delete;
  Window& operator=(const Window&) = delete;
  ~Window() {
    if (window_ != nullptr) {
      PostMessageW(window_, WM_CLOSE, 0, 0);
    }
    thread_.join();
  }

 private:
  static constexpr wchar_t kClass[] = L"vexahost power events";

  void run() {
    const HWND window = make();
    error_ = GetLastError();
    made_.set_value(window);
    if (window == nullptr) {
      return;
    }
    // A window without a parent on the screen is told nothing unless it asks.
    const HPOWERNOTIFY notification =
        RegisterSuspendResumeNotification(window, DEVICE_NOTIFY_WINDOW_HANDLE);
    MSG message;
    while (GetMessageW(&message, nullptr, 0, 0) > 0) {
      DispatchMessageW(&message);
    }
    if (notification != nullptr) {
      UnregisterSuspendResumeNotification(notification);
    }
  }

  HWND make() {
    WNDCLASSEXW type{};
    type.cbSize = sizeof(type);
    type.lpfnWndProc = procedure;
    type.hInstance = GetModuleHandleW(nullptr);
    type.lpszClassName = kClass;
    if (RegisterClassExW(&type) == 0) {
      return nullptr;
    }
    return CreateWindowExW(0, kClass, kClass, 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, type.hInstance,
                           this);
  }

  static LRESULT CALLBACK procedure(HWND window, UINT message, WPARAM first, LPARAM second) {
    switch (message) {
      case WM_CREATE:
        SetWindowLongPtrW(
            window, GWLP_USERDATA,
            reinterpret_cast<LONG_PTR>(reinterpret_cast<CREATESTRUCTW*>(second)->lpCreateParams));
        return 0;
      case WM_POWERBROADCAST: {
        auto* const self = reinterpret_cast<Window*>(GetWindowLongPtrW(window, GWLP_USERDATA));
        asio::post(self->context_,
                   [self, code = static_cast<uint32_t>(first)] { self->told_(code); });
        return TRUE;
      }
      case WM_DESTROY:
        PostQuitMessage(0);
        return 0;
      default:
        return DefWindowProcW(window, message, first, second);
    }
  }

  asio::io_context& context_;
  const Told told_;
  std::promise<HWND> made_;
  DWORD error_ = 0;
  HWND window_ = nullptr;
  std::thread thread_;  // last: it uses the others
};

PowerEvents::PowerEvents(asio::io_context& context, Told told)
    : window_(std::make_unique<Window>(context, std::move(told))) {}
PowerEvents::~PowerEvents() = default;

}  // namespace vexahost
