#include "host/SignInThrottle.h"

#include <algorithm>

namespace orbitel::host {

SignInThrottle::Clock::duration SignInThrottle::DelayAfter(int failures) {
  if (failures <= kFreeFailures) return Clock::duration::zero();
  const int doublings = std::min(failures - kFreeFailures - 1, 5);
  return std::min<Clock::duration>(std::chrono::seconds(1) * (1 << doublings), kLongestDelay);
}

SignInThrottle::Clock::time_point SignInThrottle::Schedule(const std::string& address, Clock::time_point now) {
  std::lock_guard lock(mutex_);
  auto it = entries_.find(address);
  if (it == entries_.end()) return now;
  Entry& entry = it->second;
  if (now - entry.last_failure > kForgetAfter) {
    entries_.erase(it);
    return now;
  }
  const Clock::duration delay = DelayAfter(entry.failures);
  if (delay == Clock::duration::zero()) return now;
  const Clock::time_point at = std::max(now, entry.next_allowed);
  entry.next_allowed = at + delay;
  return at;
}

bool SignInThrottle::Record(const std::string& address, bool succeeded, Clock::time_point now) {
  std::lock_guard lock(mutex_);
  if (succeeded) {
    entries_.erase(address);
    return false;
  }
  if (!entries_.contains(address)) MakeRoom(now);
  Entry& entry = entries_[address];
  if (now - entry.last_failure > kForgetAfter) entry = Entry{};
  ++entry.failures;
  entry.last_failure = now;
  if (entry.failures == kFreeFailures + 1) entry.next_allowed = now + DelayAfter(entry.failures);
  return entry.failures == kFreeFailures + 1;
}

void SignInThrottle::MakeRoom(Clock::time_point now) {
  if (entries_.size() < capacity_) return;
  std::erase_if(entries_, [&](const auto& entry) { return now - entry.second.last_failure > kForgetAfter; });
  // Still full of recent guessers: the longest quiet of them makes room.
  while (entries_.size() >= capacity_) {
    auto quietest = std::min_element(entries_.begin(), entries_.end(), [](const auto& a, const auto& b) {
      return a.second.last_failure < b.second.last_failure;
    });
    entries_.erase(quietest);
  }
}

}  // namespace orbitel::host
