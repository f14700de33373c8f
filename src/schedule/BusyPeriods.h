#pragma once
// A person's busy time as merged periods, each of one kind: what free/busy publishes and what
// finding a time avoids. The kind comes from the busy status: free appointments take no time,
// tentative ones are BUSY-TENTATIVE, out of office BUSY-UNAVAILABLE, everything else BUSY. Where
// appointments of different kinds overlap, the stronger kind (out of office, then busy, then
// tentative) holds that stretch.

#include <optional>
#include <string_view>
#include <vector>

#include "schedule/ScheduleItem.h"

namespace orbitel::schedule {

enum class BusyKind { kTentative = 1, kBusy = 2, kOutOfOffice = 3 };

// The kind an appointment of that busy status (any case) makes; nullopt for FREE.
std::optional<BusyKind> BusyKindOf(std::string_view busy_status);

struct BusyPeriod {
  UtcSeconds start;
  UtcSeconds end;
  BusyKind kind;
  friend bool operator==(const BusyPeriod&, const BusyPeriod&) = default;
};

// The items' busy time clipped to [from, until), as periods in time order that neither overlap
// nor touch with the same kind.
std::vector<BusyPeriod> MergeBusy(const std::vector<ScheduleItem>& items, UtcSeconds from, UtcSeconds until);

}  // namespace orbitel::schedule
