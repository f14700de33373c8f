#include "host/RequestPool.h"

#include <algorithm>

namespace orbitel::host {

RequestPool::RequestPool(std::size_t threads, std::size_t max_waiting) : max_waiting_(max_waiting) {
  for (std::size_t i = 0; i < std::max<std::size_t>(1, threads); ++i) workers_.emplace_back([this] { Work(); });
}

RequestPool::~RequestPool() {
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  wake_.notify_all();
  for (std::thread& worker : workers_) worker.join();
}

bool RequestPool::Submit(Job job, Clock::time_point not_before) {
  {
    std::lock_guard lock(mutex_);
    if (ready_.size() + held_.size() >= max_waiting_) return false;
    if (not_before > Clock::now()) {
      held_.push(Timed{not_before, held_count_++, std::move(job)});
    } else {
      ready_.push_back(std::move(job));
    }
  }
  // A held job may be earlier than the one the workers wait for: all of them look again.
  wake_.notify_all();
  return true;
}

void RequestPool::Drain() {
  std::unique_lock lock(mutex_);
  draining_ = true;
  wake_.notify_all();
  idle_.wait(lock, [this] { return ready_.empty() && held_.empty() && running_ == 0; });
  draining_ = false;
}

void RequestPool::Work() {
  std::unique_lock lock(mutex_);
  while (true) {
    while (!held_.empty() && (held_.top().when <= Clock::now() || stopping_ || draining_)) {
      ready_.push_back(std::move(const_cast<Timed&>(held_.top()).job));
      held_.pop();
    }
    if (!ready_.empty()) {
      Job job = std::move(ready_.front());
      ready_.pop_front();
      ++running_;
      lock.unlock();
      job();
      job = nullptr;
      lock.lock();
      --running_;
      if (ready_.empty() && held_.empty() && running_ == 0) idle_.notify_all();
      continue;
    }
    if (stopping_) return;
    if (held_.empty()) {
      wake_.wait(lock);
    } else {
      wake_.wait_until(lock, held_.top().when);
    }
  }
}

}  // namespace orbitel::host
