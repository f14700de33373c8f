#pragma once
// A calendar file's items brought into a store folder, all or nothing: the folder's writes
// stand or fall together (StoreFolder::BeginWrites), so an item the store refuses part-way
// leaves the folder as it was.

#include <cstddef>
#include <functional>
#include <vector>

#include "ical/ICalendar.h"
#include "runtime/Status.h"
#include "store/StoreProvider.h"

namespace orbitel::data {

// Told every so many items how many are in; may be empty.
using ImportProgress = std::function<void(std::size_t done, std::size_t total)>;

// Puts every item (ParseCalendar's) into the folder. A folder that takes no imports, or is
// busy, fails as it says; an item it refuses fails with "item <uid>: <why>" and nothing of the
// import stays written.
Status ImportItems(StoreFolder& folder, const std::vector<CalendarItem>& items,
                   const ImportProgress& progress = {});

}  // namespace orbitel::data
