#pragma once
// The occurrences of recurring items over a period as ExpandItem (ItemOccurrences.h) makes them, kept
// for the whole process: the team pages ask for the same series over the same period again
// and again, and parsing and expanding a series with libical is most of a period query's work.
// Found by the item's iCalendar text and the period, so an item changed since has another text
// and is expanded afresh. At most a few megabytes are kept; when full, all is dropped and the
// keeping starts over. Safe from any thread.

#include <vector>

#include "runtime/Status.h"
#include "store/StoreItem.h"
#include "store/StoreTime.h"

namespace orbitel::data {

// What ExpandItem(ics, from, until) returns, from the kept copy when there is one.
Result<std::vector<StoreItem>> ExpandSeries(std::string_view ics, UtcSeconds from, UtcSeconds until);

}  // namespace orbitel::data
