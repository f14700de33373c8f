#include "schedule/FreeTimeSearch.h"

#include <algorithm>

namespace orbitel::schedule {

bool Blocks(const BusyPeriod& period, bool tentative_busy) {
  return tentative_busy || period.kind != BusyKind::kTentative;
}

std::vector<FreeTime> CommonFreeTimes(const std::vector<std::vector<BusyPeriod>>& people,
                                      const std::vector<TimeWindow>& windows, UtcSeconds length,
                                      bool tentative_busy, std::size_t limit) {
  // Everyone's blocking time as one list of spans in start order.
  std::vector<TimeWindow> blocked;
  for (const auto& periods : people) {
    for (const BusyPeriod& period : periods) {
      if (Blocks(period, tentative_busy)) blocked.push_back({period.start, period.end});
    }
  }
  std::sort(blocked.begin(), blocked.end(), [](const TimeWindow& a, const TimeWindow& b) { return a.start < b.start; });

  std::vector<FreeTime> found;
  std::size_t next = 0;  // the first blocked span that may still reach into a window
  for (const TimeWindow& window : windows) {
    while (next < blocked.size() && blocked[next].end <= window.start) ++next;
    UtcSeconds free_from = window.start;
    for (std::size_t b = next; b < blocked.size() && blocked[b].start < window.end; ++b) {
      if (blocked[b].start - free_from >= length) found.push_back({free_from, blocked[b].start, 0});
      if (found.size() >= limit) return found;
      free_from = std::max(free_from, blocked[b].end);
    }
    if (window.end - free_from >= length) found.push_back({free_from, window.end, 0});
    if (found.size() >= limit) return found;
  }
  return found;
}

std::vector<FreeTime> LeastBusyTimes(const std::vector<std::vector<BusyPeriod>>& people,
                                     const std::vector<TimeWindow>& windows, UtcSeconds length,
                                     UtcSeconds step, bool tentative_busy, std::size_t limit) {
  std::vector<FreeTime> starts;
  for (const TimeWindow& window : windows) {
    for (UtcSeconds at = window.start; at + length <= window.end; at += step) starts.push_back({at, at + length, 0});
  }
  if (starts.empty()) return starts;
  // Each person counts once for a start however many of their periods touch it.
  std::vector<int> counted_for(starts.size(), -1);
  for (std::size_t person = 0; person < people.size(); ++person) {
    for (const BusyPeriod& period : people[person]) {
      if (!Blocks(period, tentative_busy)) continue;
      // The starts whose meeting overlaps the period: start < period end and end > period start.
      auto first = std::upper_bound(starts.begin(), starts.end(), period.start,
                                    [](UtcSeconds at, const FreeTime& s) { return at < s.end; });
      for (auto s = first; s != starts.end() && s->start < period.end; ++s) {
        const auto index = static_cast<std::size_t>(s - starts.begin());
        if (counted_for[index] == static_cast<int>(person)) continue;
        counted_for[index] = static_cast<int>(person);
        ++s->busy;
      }
    }
  }
  std::stable_sort(starts.begin(), starts.end(), [](const FreeTime& a, const FreeTime& b) { return a.busy < b.busy; });
  if (starts.size() > limit) starts.resize(limit);
  return starts;
}

}  // namespace orbitel::schedule
