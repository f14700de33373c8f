#pragma once
// The one place the calendar views read appointments from the store: for each user of the
// grid, one period query on that user's calendar folder, the times turned into local time, and
// the result laid into the grid by the period's kind.
//
// Periods: "1" team day, "7" team week, "31" team month, "now" team now, "Per1", "Per7",
// "Per31" the personal day, week and month. Cells written:
//   "31":   (u, d, 0) "True" on each day of the month an appointment covers ("False" on a day it
//           only ends at midnight), (u, d, 1) "True" when that appointment has a location;
//   "now":  (u, 1, 0) the busy status of an appointment spanning the present hour;
//   "1", "7": the slot fillers of SlotFilling.h;
//   "Per*": the blocks of AppointmentBlock.h in (0, day index, 0).
// A user whose folder cannot be read adds a message to ErrorText and the loop goes on.

#include <string_view>

#include "calendar/UserCalendar.h"
#include "runtime/Date.h"

namespace orbitel::calendar {

void GetUsersCalender(UserCalendar& grid, Date calendar_date, std::string_view period);

// The line a page shows under its calendars when they were brought in step longer ago than two
// refresh intervals: "Calendars as of 10:42" (the local time of the oldest).
std::string CalendarsAsOf(Date local);

// The no-access message for one user (the name is HTML-escaped here).
std::string NoAccessError(std::string_view user);

}  // namespace orbitel::calendar
