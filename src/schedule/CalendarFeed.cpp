#include "schedule/CalendarFeed.h"

#include "ical/IcalSupport.h"
#include "schedule/BusyPeriods.h"

namespace orbitel::schedule {

namespace {

std::string UidOf(const ScheduleItem& item) {
  if (!item.recurrence_id) return item.uid;
  // One VEVENT an occurrence: its own UID, so a program keeps them apart.
  return item.uid + "-" + icaltime_as_ical_string(data::ical::UtcValue(*item.recurrence_id));
}

icalcomponent* EventOf(const ScheduleItem& item, UtcSeconds now) {
  icalcomponent* event = icalcomponent_new_vevent();
  icalcomponent_add_property(event, icalproperty_new_uid(UidOf(item).c_str()));
  icalcomponent_add_property(event, icalproperty_new_dtstamp(data::ical::UtcValue(now)));
  if (item.all_day) {
    icalcomponent_add_property(event, icalproperty_new_dtstart(data::ical::DateValue(data::LocalOfUtc(item.start))));
    icalcomponent_add_property(event, icalproperty_new_dtend(data::ical::DateValue(data::LocalOfUtc(item.end))));
  } else {
    icalcomponent_add_property(event, icalproperty_new_dtstart(data::ical::UtcValue(item.start)));
    icalcomponent_add_property(event, icalproperty_new_dtend(data::ical::UtcValue(item.end)));
  }
  if (item.IsPrivate()) {
    icalcomponent_add_property(event, icalproperty_new_summary("Busy"));
    icalcomponent_add_property(event, icalproperty_new_class(ICAL_CLASS_PRIVATE));
  } else {
    icalcomponent_add_property(event, icalproperty_new_summary(item.subject.c_str()));
    if (!item.location.empty()) icalcomponent_add_property(event, icalproperty_new_location(item.location.c_str()));
    if (!item.description.empty()) {
      icalcomponent_add_property(event, icalproperty_new_description(item.description.c_str()));
    }
  }
  const std::optional<BusyKind> kind = BusyKindOf(item.busy_status);
  icalcomponent_add_property(event, icalproperty_new_transp(kind ? ICAL_TRANSP_OPAQUE : ICAL_TRANSP_TRANSPARENT));
  if (kind == BusyKind::kTentative) icalcomponent_add_property(event, icalproperty_new_status(ICAL_STATUS_TENTATIVE));
  if (!item.busy_status.empty()) {
    icalproperty* status = icalproperty_new_x(item.busy_status.c_str());
    icalproperty_set_x_name(status, "X-MICROSOFT-CDO-BUSYSTATUS");
    icalcomponent_add_property(event, status);
  }
  return event;
}

}  // namespace

std::string FeedText(const std::string& calendar_name, const std::vector<ScheduleItem>& items,
                     PrivateInFeed private_items, UtcSeconds now) {
  data::ical::Component calendar = data::ical::NewCalendar();
  icalcomponent_add_property(calendar.get(), icalproperty_new_method(ICAL_METHOD_PUBLISH));
  icalproperty* name = icalproperty_new_x(calendar_name.c_str());
  icalproperty_set_x_name(name, "X-WR-CALNAME");
  icalcomponent_add_property(calendar.get(), name);
  for (const ScheduleItem& item : items) {
    if (item.IsPrivate() && private_items == PrivateInFeed::kLeftOut) continue;
    icalcomponent_add_component(calendar.get(), EventOf(item, now));
  }
  return data::ical::TextOf(calendar.get());
}

}  // namespace orbitel::schedule
