#pragma once
// The occurrences of recurring items over a period as ExpandItem (ICalendar.h) makes them, kept
// for the whole process: the team pages ask for the same series over the same period again
// and again, and parsing and expanding a series with libical is most of a period query's work.
// Found by the item's iCalendar text and the period, so an item changed since has another text
// and is expanded afresh. At most a few megabytes are kept; when full, all is dropped and the
// keeping starts over. Safe from any thread.

#include <memory>
#include <string_view>
#include <vector>

#include "data/StoreItem.h"
#include "data/StoreTime.h"
#include "runtime/Status.h"

namespace orbitel::data {

// What ExpandItem(ics, from, until) returns, the kept one when there is one (shared, not copied:
// a page takes only the occurrences it shows).
Result<std::shared_ptr<const std::vector<StoreItem>>> ExpandSeries(std::string_view ics, UtcSeconds from,
                                                                   UtcSeconds until);

}  // namespace orbitel::data
