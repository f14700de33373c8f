#pragma once
// Laying one appointment into the hour slots of the team day and week views, for one day D of
// the appointment. Overlap is taken in local time and clipped to D: an appointment marks every
// slot with start < slot end and end > slot start; an all-day appointment marks every slot.

#include "calendar/AppointmentRow.h"
#include "calendar/UserCalendar.h"

namespace orbitel::calendar {

// Team day: slot s (1..24) is the half hour from 7:00 + (s - 1) x 30 min. (u, 1, s) := "True";
// with a location, (u, 3, s) := the location. Failures are logged under
// "Functions.SetCalHoursForOneDays".
void SetCalHoursForOneDays(UserCalendar& grid, int user, const AppointmentRow& row, Date day);

// Team week: day k is D's weekday (Monday 1 .. Sunday 7), slot s (1..12) the hour from
// (6 + s):00. (u, k, s) := "True"; a location goes into field s + 23 of every marked slot and
// of the position right after the last marked one (at most 13), since the week view reads a
// run's location from the position after it. Failures are logged under
// "Functions.SetCalHoursForSevenDays".
void SetCalHoursForSevenDays(UserCalendar& grid, int user, const AppointmentRow& row, Date day);

}  // namespace orbitel::calendar
