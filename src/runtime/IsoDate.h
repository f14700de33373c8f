#pragma once
// Dates in the ISO 8601 form the mail store's queries and the rowset files write:
// "2003-11-03", "2003-11-03T09:30", "2003-11-03T09:30:15.250Z", "2003-11-03T09:30:15+01:00",
// and "2003/11/03 09:30:00" as the store's queries also write it.

#include <optional>
#include <string>
#include <string_view>

#include "runtime/Date.h"

namespace orbitel {

// The moment the text stands for; a zone suffix (Z, +hh:mm, -hhmm) is applied so the result is
// in UTC, and a text without one is taken as written. nullopt when the text is not in that form
// or names a date or time that does not exist.
std::optional<Date> ParseIsoDate(std::string_view text);

// "2003-11-03T09:30:15", without a zone, as the rowset files hold dateTime values.
std::string FormatIsoDate(Date date);

}  // namespace orbitel
