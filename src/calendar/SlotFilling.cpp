#include "calendar/SlotFilling.h"

#include "site/ErrorHandler.h"

namespace orbitel::calendar {

namespace {

constexpr double kMinute = 1.0 / (24 * 60);

// The slots [first_minute + (s-1) x length, + length) of day that the row overlaps, 1-based;
// calls mark(s) for each.
template <typename Mark>
void MarkOverlaps(const AppointmentRow& row, Date day, int slots, int first_minute, int length,
                  Mark mark) {
  const double midnight = day.DatePart().serial();
  for (int s = 1; s <= slots; ++s) {
    const double slot_start = midnight + (first_minute + (s - 1) * length) * kMinute;
    const double slot_end = slot_start + length * kMinute;
    // Half a second of slack keeps a 9:00 end from touching the 9:00 slot through rounding.
    const bool overlaps = row.local_start.serial() < slot_end - kMinute / 120 &&
                          row.local_end.serial() > slot_start + kMinute / 120;
    if (row.all_day || overlaps) mark(s);
  }
}

}  // namespace

void SetCalHoursForOneDays(UserCalendar& grid, int user, const AppointmentRow& row, Date day) {
  site::RunLogged("Functions.SetCalHoursForOneDays", [&] {
    MarkOverlaps(row, day, 24, 7 * 60, 30, [&](int s) {
      grid(user, 1, s) = "True";
      if (!row.location.empty()) grid(user, 3, s) = row.location;
    });
    return Status::Ok();
  });
}

void SetCalHoursForSevenDays(UserCalendar& grid, int user, const AppointmentRow& row, Date day) {
  site::RunLogged("Functions.SetCalHoursForSevenDays", [&] {
    const int k = day.IsoWeekday();
    int last = 0;
    MarkOverlaps(row, day, 12, 7 * 60, 60, [&](int s) {
      grid(user, k, s) = "True";
      if (!row.location.empty()) grid(user, k, s + 23) = row.location;
      last = s;
    });
    if (last > 0 && !row.location.empty()) grid(user, k, last + 1 + 23) = row.location;
    return Status::Ok();
  });
}

}  // namespace orbitel::calendar
