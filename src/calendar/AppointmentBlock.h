#pragma once
// The block a personal view shows for one appointment on one day: the busy picture, the time
// text, the subject linking to the appointment page, the location, and a thin rule.

#include "calendar/AppointmentRow.h"
#include "calendar/UserCalendar.h"

namespace orbitel::calendar {

// Appends the block to (0, day_index, 0); writes nothing for the last day of an all-day
// appointment that ends at midnight. Failures are logged under "Functions.SetCalHoursForPer"
// and leave the cell as it was.
void SetCalHoursForPer(UserCalendar& grid, const AppointmentRow& row, Date day, int day_index);

}  // namespace orbitel::calendar
