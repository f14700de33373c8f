#pragma once
// A person's free/busy as an iCalendar VFREEBUSY (RFC 5545) that other calendar programs read:
// the span asked for and one FREEBUSY line a merged busy period, typed BUSY, BUSY-TENTATIVE or
// BUSY-UNAVAILABLE (out of office). Nothing about the appointments themselves is told.

#include <string>
#include <vector>

#include "schedule/BusyPeriods.h"

namespace orbitel::schedule {

// organizer: "mailto:..." of the person, or empty for none.
std::string FreeBusyText(const std::string& organizer, UtcSeconds from, UtcSeconds until,
                         const std::vector<BusyPeriod>& periods, UtcSeconds now);

}  // namespace orbitel::schedule
