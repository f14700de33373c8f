#pragma once
// Finding when several people are free: within given windows (each day's working hours), the
// stretches nobody's busy time touches, or, for a whole team that is rarely free at once, the
// starts when the fewest are busy.

#include <cstddef>
#include <vector>

#include "schedule/BusyPeriods.h"

namespace orbitel::schedule {

struct TimeWindow {
  UtcSeconds start;
  UtcSeconds end;
};

struct FreeTime {
  UtcSeconds start;
  UtcSeconds end;
  int busy = 0;  // how many of the people are busy then (always 0 for common free times)
  friend bool operator==(const FreeTime&, const FreeTime&) = default;
};

// Which periods keep someone from a meeting: all but tentative ones when those are counted free.
bool Blocks(const BusyPeriod& period, bool tentative_busy);

// The stretches inside the windows, at least `length` long, when none of the people has a
// blocking period; in time order, at most `limit`. Windows are in time order and apart.
std::vector<FreeTime> CommonFreeTimes(const std::vector<std::vector<BusyPeriod>>& people,
                                      const std::vector<TimeWindow>& windows, UtcSeconds length,
                                      bool tentative_busy, std::size_t limit);

// Meetings of `length` starting every `step` from each window's start and ending inside it,
// with how many of the people a blocking period keeps from each; the fewest busy first, the
// earlier first among equals; at most `limit`.
std::vector<FreeTime> LeastBusyTimes(const std::vector<std::vector<BusyPeriod>>& people,
                                     const std::vector<TimeWindow>& windows, UtcSeconds length,
                                     UtcSeconds step, bool tentative_busy, std::size_t limit);

}  // namespace orbitel::schedule
