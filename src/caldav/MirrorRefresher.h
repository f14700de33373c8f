#pragma once
// Keeps one site's calendar mirror in step in the background: a thread of its own asks the site
// which calendars to keep and how often (its plan, asked afresh before every round, so a change
// of the included people or of the interval counts from the next round), and brings them in
// step (RefreshMirror), a batch at a time. The first round's progress and every round's
// failures, when they change, go to the log. Destroying the refresher stops the thread within
// a second or so, a refresh under way included.

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "caldav/MirrorRefresh.h"
#include "store/StoreProvider.h"

namespace orbitel::data {

class MirrorRefresher {
 public:
  struct Plan {
    std::vector<std::string> folder_urls;
    std::chrono::seconds interval{60};
    int days_back = 365;
    int days_ahead = 730;
  };
  // plan runs on the refresher's thread (it binds what it needs itself). log may be null.
  MirrorRefresher(StoreSettings stores, std::function<Plan()> plan, std::ostream* log);
  ~MirrorRefresher();
  MirrorRefresher(const MirrorRefresher&) = delete;
  MirrorRefresher& operator=(const MirrorRefresher&) = delete;

 private:
  void Run();
  // One round over the plan's calendars; returns the plan's interval.
  std::chrono::seconds Round(bool first);
  void Log(const std::string& line);

  StoreSettings stores_;
  std::function<Plan()> plan_;
  std::ostream* log_;
  std::atomic<bool> stopping_{false};
  std::mutex mutex_;
  std::condition_variable wake_;
  std::size_t failed_before_ = 0;
  std::thread thread_;  // last: starts once everything above is set
};

}  // namespace orbitel::data
