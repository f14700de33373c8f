#pragma once
// Reading people's appointments over a span for finding a time, free/busy and the feed, through
// the same store query path as the team pages (the site's store provider and folder addresses),
// so the local store and a CalDAV server both answer. Unlike the team pages' query it keeps
// private and free appointments: the callers decide what they mean.

#include <string>
#include <vector>

#include "runtime/Status.h"
#include "schedule/ScheduleItem.h"

namespace orbitel::schedule {

// Each account's appointments that overlap [from, until), recurring series expanded into their
// occurrences, in start order; one result per account in the accounts' order. A calendar that
// cannot be opened or queried is a failed result for that account alone. Needs the thread's
// settings loaded (GetSiteVars). with_details also reads the descriptions, which only the feed
// shows.
std::vector<Result<std::vector<ScheduleItem>>> ReadCalendars(const std::vector<std::string>& accounts,
                                                             UtcSeconds from, UtcSeconds until,
                                                             bool with_details = false);

}  // namespace orbitel::schedule
