#pragma once
// An item of the store read in the store's terms: its properties, and its occurrences inside a
// period (a recurring series expanded, overridden occurrences with their own properties).
//
// Times: UTC values as they are; TZID values through the item's VTIMEZONE, else libical's
// builtin zone of that name; floating values (no zone) and all-day dates are read in the
// server's local time (TZ), an all-day date being the local midnight that starts it.

#include <optional>
#include <string_view>
#include <vector>

#include "runtime/Status.h"
#include "store/StoreItem.h"
#include "store/StoreTime.h"

namespace orbitel::data {

// What the store indexes of an item.
struct ItemSummary {
  StoreItem master;          // the master's properties and first occurrence; href left empty
  bool recurring = false;    // an RRULE or RDATE, or overridden occurrences
  UtcSeconds span_start = 0;               // the earliest start of any occurrence
  std::optional<UtcSeconds> span_end;      // the latest end; nullopt when it recurs for ever
};
// errors::kSyntaxError when the text is not an item ParseCalendar would produce.
Result<ItemSummary> SummarizeItem(std::string_view ics);

// The occurrences of an item that overlap [from, until], in start order: the item itself when
// it does not recur; otherwise one per occurrence (overridden ones with their own properties),
// each with its recurrence id. href and displayname are left for the caller. A series without
// an end is expanded at most ten years past the later of `from` and its start.
Result<std::vector<StoreItem>> ExpandItem(std::string_view ics, UtcSeconds from,
                                          UtcSeconds until);

}  // namespace orbitel::data
