#pragma once
// The date value's text forms: as the pages print and read them (the runtime's US English
// short, general and long forms), and the ISO 8601 forms of the store's queries, the rowset
// files and the date inputs of forms and addresses.

#include <optional>
#include <string>
#include <string_view>

#include "runtime/Date.h"
#include "runtime/Status.h"

namespace orbitel {

// "3/5/2003": month/day/year without leading zeros.
std::string FormatShortDate(Date date);
// "9:05:59 AM": the time of day of a date in the long time form.
std::string FormatLongTime(Date date);
// "3/5/2003 9:05:59 AM"; the time is left out at midnight, the date for a time-only value
// (so the time-only midnight is "12:00:00 AM").
std::string FormatGeneralDate(Date date);
// "Wednesday, March 05, 2003".
std::string FormatLongDate(Date date);

// Text to date as the runtime reads it: "3/5/2003", "3/5/2003 9:30 AM", "2003-03-05",
// "2003-03-05T09:30:00", "March 5, 2003", "9:30 AM", "9:30:15 PM", "21:30", "12:00 AM"
// (midnight). A time written as hour, colon and "0", "0.5" or "1" is the hour plus that
// fraction of an hour ("10:0.5" is 10:30, "10:1" is 11:00): the team now view builds such
// texts. Anything else is a type mismatch (error 13).
Result<Date> ParseDate(std::string_view text);

// The ISO 8601 forms the mail store's queries and the rowset files write: "2003-11-03",
// "2003-11-03T09:30", "2003-11-03T09:30:15.250Z", "2003-11-03T09:30:15+01:00", and
// "2003/11/03 09:30:00" as the store's queries also write it. The moment the text stands for; a zone suffix (Z, +hh:mm, -hhmm) is applied so the result is
// in UTC, and a text without one is taken as written. nullopt when the text is not in that form
// or names a date or time that does not exist.
std::optional<Date> ParseIsoDate(std::string_view text);

// "2003-11-03T09:30:15", without a zone, as the rowset files hold dateTime values.
std::string FormatIsoDate(Date date);

// The days of the find-a-time form and the free/busy address: "2003-11-05" only, as a date
// input sends it; a day that does not exist is no day.
std::optional<Date> ParseIsoDay(std::string_view text);
std::string IsoDayText(Date day);

}  // namespace orbitel
