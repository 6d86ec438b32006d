#include "server/worker.h"

namespace vexahost {

Worker::Worker() : thread_([this] { run(); }) {}

Worker::~Worker() {
  stop(std::chrono::milliseconds(0));
  thread_.join();
}

bool Worker::post(std::function<void()> job) {
  const std::lock_guard lock(mutex_);
  if (isStopped_ || jobs_.size() >= kMostJobs) {
    return false;
  }
  jobs_.push_back(std::move(job));
  changed_.notify_all();
  return true;
}

bool Worker::stop(std::chrono::milliseconds time) {
  std::deque<std::function<void()>> dropped;  // they end without the lock
  std::unique_lock lock(mutex_);
  isStopped_ = true;
  dropped.swap(jobs_);
  changed_.notify_all();
  return changed_.wait_for(lock, time, [this] { return !isBusy_; });
}

void Worker::run() {
  std::unique_lock lock(mutex_);
  while (true) {
    changed_.wait(lock, [this] { return isStopped_ || !jobs_.empty(); });
    if (isStopped_) {
      return;
    }
    isBusy_ = true;
    std::function<void()> job = std::move(jobs_.front());
    jobs_.pop_front();
    lock.unlock();
    job();
    job = nullptr;
    lock.lock();
    isBusy_ = false;
    changed_.notify_all();
  }
}

}  // namespace vexahost
