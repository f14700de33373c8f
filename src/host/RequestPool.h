#pragma once
// The request threads: a fixed set of workers that make the pages, fed by the connection
// thread, which never waits for a page itself. Each worker keeps its own site state between
// requests. The queue is bounded, so a burst beyond it is refused at once (the caller answers
// 503) rather than held in memory; a job may be held back until a given time (a throttled
// sign-in) without a worker waiting on it. Thread-safe.

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <queue>
#include <thread>
#include <vector>

namespace orbitel::host {

class RequestPool {
 public:
  using Clock = std::chrono::steady_clock;
  using Job = std::function<void()>;

  RequestPool(std::size_t threads, std::size_t max_waiting);
  // Runs the jobs already taken, then joins the workers.
  ~RequestPool();
  RequestPool(const RequestPool&) = delete;
  RequestPool& operator=(const RequestPool&) = delete;

  // Queues the job to run no earlier than not_before; false (and the job dropped) when the
  // queue is full.
  bool Submit(Job job, Clock::time_point not_before = Clock::time_point());
  // Runs the held jobs at once and waits until no job is waiting or running (the server
  // stopping: nothing is left half answered).
  void Drain();

 private:
  struct Timed {
    Clock::time_point when;
    std::size_t order;
    Job job;
    bool operator>(const Timed& other) const {
      return when != other.when ? when > other.when : order > other.order;
    }
  };
  void Work();

  const std::size_t max_waiting_;
  std::mutex mutex_;
  std::condition_variable wake_;
  std::condition_variable idle_;
  std::deque<Job> ready_;
  std::priority_queue<Timed, std::vector<Timed>, std::greater<>> held_;
  std::size_t held_count_ = 0;
  std::size_t running_ = 0;
  bool stopping_ = false;
  bool draining_ = false;
  std::vector<std::thread> workers_;
};

}  // namespace orbitel::host
