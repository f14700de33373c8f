#include "schedule/CalendarFeed.h"

#include "ical/PublishedCalendar.h"
#include "schedule/BusyPeriods.h"

namespace orbitel::schedule {

std::string FeedText(const std::string& calendar_name, const std::vector<ScheduleItem>& items,
                     PrivateInFeed private_items, UtcSeconds now) {
  std::vector<data::PublishedEvent> events;
  for (const ScheduleItem& item : items) {
    if (item.IsPrivate() && private_items == PrivateInFeed::kLeftOut) continue;
    const std::optional<BusyKind> kind = BusyKindOf(item.busy_status);
    events.push_back({.uid = item.uid,
                      .recurrence_id = item.recurrence_id,
                      .start = item.start,
                      .end = item.end,
                      .all_day = item.all_day,
                      .is_private = item.IsPrivate(),
                      .summary = item.subject,
                      .location = item.location,
                      .description = item.description,
                      .blocks_time = kind.has_value(),
                      .tentative = kind == BusyKind::kTentative,
                      .busy_status = item.busy_status});
  }
  return data::PublishedEventsText(calendar_name, events, now);
}

}  // namespace orbitel::schedule
