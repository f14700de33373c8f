#pragma once
// The occurrences of recurring items over a period as ExpandItem (ItemOccurrences.h) makes them,
// kept for the whole process: the team pages ask for the same series over the same period again
// and again, and parsing and expanding a series with libical is most of a period query's work.
// Likewise the occurrences of a calendar server's item texts, which a page asked straight of the
// server gets again and again. Found by the item's iCalendar text and the period, so an item
// changed since has another text and is expanded afresh. At most a few megabytes are kept; when
// full, all is dropped and the keeping starts over. Safe from any thread.

#include <memory>
#include <string_view>
#include <vector>

#include "runtime/Status.h"
#include "store/StoreItem.h"
#include "store/StoreTime.h"

namespace orbitel::data {

// What ExpandItem(ics, from, until) returns, the kept one when there is one (shared, not copied:
// a page takes only the occurrences it shows).
Result<std::shared_ptr<const std::vector<StoreItem>>> ExpandSeries(std::string_view ics, UtcSeconds from,
                                                                   UtcSeconds until);

// The occurrences of every item of a calendar text (ParseCalendar, then ExpandItem of each, in
// that order) inside [from, until]; the first failure of either as it returned it.
Result<std::vector<StoreItem>> ExpandCalendarText(std::string_view text, UtcSeconds from,
                                                  UtcSeconds until);

}  // namespace orbitel::data
