#include "schedule/BusyPeriods.h"

#include <algorithm>
#include <array>

#include "runtime/Conversions.h"

namespace orbitel::schedule {

std::optional<BusyKind> BusyKindOf(std::string_view busy_status) {
  const std::string status = ToUpper(Trim(busy_status));
  if (status == "FREE") return std::nullopt;
  if (status == "TENTATIVE") return BusyKind::kTentative;
  if (status == "OOF") return BusyKind::kOutOfOffice;
  return BusyKind::kBusy;
}

std::vector<BusyPeriod> MergeBusy(const std::vector<ScheduleItem>& items, UtcSeconds from, UtcSeconds until) {
  // Each appointment's start and end as a change in how many of each kind are running; walking
  // the changes in time order tells the strongest kind between any two of them.
  struct Change {
    UtcSeconds at;
    int kind;
    int step;
  };
  std::vector<Change> changes;
  changes.reserve(items.size() * 2);
  for (const ScheduleItem& item : items) {
    const std::optional<BusyKind> kind = BusyKindOf(item.busy_status);
    const UtcSeconds start = std::max(item.start, from);
    const UtcSeconds end = std::min(item.end, until);
    if (!kind || start >= end) continue;
    changes.push_back({start, static_cast<int>(*kind), +1});
    changes.push_back({end, static_cast<int>(*kind), -1});
  }
  std::sort(changes.begin(), changes.end(), [](const Change& a, const Change& b) { return a.at < b.at; });

  std::vector<BusyPeriod> periods;
  std::array<int, 4> running{};
  for (std::size_t i = 0; i < changes.size();) {
    const UtcSeconds at = changes[i].at;
    for (; i < changes.size() && changes[i].at == at; ++i) running[changes[i].kind] += changes[i].step;
    if (i == changes.size()) break;
    int strongest = 0;
    for (int kind = 3; kind >= 1 && strongest == 0; --kind) {
      if (running[kind] > 0) strongest = kind;
    }
    if (strongest == 0) continue;
    const UtcSeconds next = changes[i].at;
    const auto kind = static_cast<BusyKind>(strongest);
    if (!periods.empty() && periods.back().end == at && periods.back().kind == kind) {
      periods.back().end = next;
    } else {
      periods.push_back({at, next, kind});
    }
  }
  return periods;
}

}  // namespace orbitel::schedule
