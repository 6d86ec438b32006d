#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace vexahost {

// A thread for what may take long, so that the others are served meanwhile. Jobs are done one after
// the other.
class Worker {
 public:
  static constexpr size_t kMostJobs = 16;

  Worker();
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;
  // Waits for the job that is being done.
  ~Worker();

  // False: too many wait already, or it was stopped.
  bool post(std::function<void()> job);
  // Drops what waits. True: nothing is being done any more. False: that took longer than `time`.
  bool stop(std::chrono::milliseconds time);

 private:
  void run();

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::function<void()>> jobs_;
  bool isStopped_ = false;
  bool isBusy_ = false;
  std::thread thread_;  // last: it uses the others
};

}  // namespace vexahost
