#include <asio.hpp>
#include <chrono>
#include <csignal>

#include "options.h"
#include "vexa/client_monitor.h"

namespace vexahost {
namespace {

constexpr std::chrono::milliseconds kLook{100};

// Looks at the monitor's status between two sleeps, so that Ctrl-C is answered at once.
class MonitorLoop {
 public:
  MonitorLoop(vexa::IClientMonitor& monitor, uint32_t seconds, Output& output)
      : monitor_(monitor),
        output_(output),
        seconds_(seconds),
        signals_(context_, SIGINT, SIGTERM),
        timer_(context_) {}

  void run() {
    restart();
    signals_.async_wait([this](const asio::error_code&, int) { context_.stop(); });
    wait();
    context_.run();
    monitor_.StopChangeThread();
  }

 private:
  void restart() {
    monitor_.StopChangeThread();
    check(monitor_.Reset(), "the network monitor");
    check(monitor_.StartChangeThread(seconds_), "the network monitor");
  }

  void wait() {
    timer_.expires_after(kLook);
    timer_.async_wait([this](const asio::error_code& error) {
      if (error) {
        return;
      }
      if (monitor_.GetStatus() != vexa::IClientMonitor::kUnchanged) {
        ++changes_;
        output_.answer({{"change", changes_}},
                       [this] { output_.line("change " + std::to_string(changes_)); });
        output_.flush();
        restart();
      }
      wait();
    });
  }

  vexa::IClientMonitor& monitor_;
  Output& output_;
  uint32_t seconds_;
  asio::io_context context_;
  asio::signal_set signals_;
  asio::steady_timer timer_;
  uint32_t changes_ = 0;
};

void watch(Options& options, uint32_t seconds) {
  const Module module(options.module);
  const auto monitor = module.make<vexa::IClientMonitor>();
  // From here on Ctrl-C ends the loop and not the program.
  MonitorLoop loop(*monitor.get(), seconds, options.output);
  options.output.done({{"watchingEverySeconds", seconds}},
                      "watching the network every " + std::to_string(seconds) + " s (Ctrl-C ends)");
  options.output.flush();
  loop.run();
}

}  // namespace

void addMonitorCommand(Command app, Options& options) {
  Command command = app.command("monitor", "A line for every change of the network, until Ctrl-C");
  const auto seconds = std::make_shared<uint32_t>(10);
  command.option("--interval", *seconds, "Seconds between two looks")
      .between(1, 3600)
      .showsDefault();
  command.onRun([&options, seconds] { watch(options, *seconds); });
}

}  // namespace vexahost
