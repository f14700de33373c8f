#include "ical/PublishedCalendar.h"

#include "ical/IcalSupport.h"

namespace orbitel::data {

namespace {

std::string UidOf(const PublishedEvent& event) {
  if (!event.recurrence_id) return event.uid;
  return event.uid + "-" + icaltime_as_ical_string(ical::UtcValue(*event.recurrence_id));
}

icalcomponent* EventComponent(const PublishedEvent& published, UtcSeconds now) {
  icalcomponent* event = icalcomponent_new_vevent();
  icalcomponent_add_property(event, icalproperty_new_uid(UidOf(published).c_str()));
  icalcomponent_add_property(event, icalproperty_new_dtstamp(ical::UtcValue(now)));
  if (published.all_day) {
    icalcomponent_add_property(event, icalproperty_new_dtstart(ical::DateValue(LocalOfUtc(published.start))));
    icalcomponent_add_property(event, icalproperty_new_dtend(ical::DateValue(LocalOfUtc(published.end))));
  } else {
    icalcomponent_add_property(event, icalproperty_new_dtstart(ical::UtcValue(published.start)));
    icalcomponent_add_property(event, icalproperty_new_dtend(ical::UtcValue(published.end)));
  }
  if (published.is_private) {
    icalcomponent_add_property(event, icalproperty_new_summary("Busy"));
    icalcomponent_add_property(event, icalproperty_new_class(ICAL_CLASS_PRIVATE));
  } else {
    icalcomponent_add_property(event, icalproperty_new_summary(published.summary.c_str()));
    if (!published.location.empty()) {
      icalcomponent_add_property(event, icalproperty_new_location(published.location.c_str()));
    }
    if (!published.description.empty()) {
      icalcomponent_add_property(event, icalproperty_new_description(published.description.c_str()));
    }
  }
  icalcomponent_add_property(
      event, icalproperty_new_transp(published.blocks_time ? ICAL_TRANSP_OPAQUE : ICAL_TRANSP_TRANSPARENT));
  if (published.tentative) icalcomponent_add_property(event, icalproperty_new_status(ICAL_STATUS_TENTATIVE));
  if (!published.busy_status.empty()) {
    icalproperty* status = icalproperty_new_x(published.busy_status.c_str());
    icalproperty_set_x_name(status, "X-MICROSOFT-CDO-BUSYSTATUS");
    icalcomponent_add_property(event, status);
  }
  return event;
}

icalparameter_fbtype FbTypeOf(FreeBusyType type) {
  switch (type) {
    case FreeBusyType::kTentative: return ICAL_FBTYPE_BUSYTENTATIVE;
    case FreeBusyType::kUnavailable: return ICAL_FBTYPE_BUSYUNAVAILABLE;
    case FreeBusyType::kBusy: break;
  }
  return ICAL_FBTYPE_BUSY;
}

}  // namespace

std::string PublishedEventsText(const std::string& calendar_name, const std::vector<PublishedEvent>& events,
                                UtcSeconds now) {
  ical::Component calendar = ical::NewCalendar();
  icalcomponent_add_property(calendar.get(), icalproperty_new_method(ICAL_METHOD_PUBLISH));
  icalproperty* name = icalproperty_new_x(calendar_name.c_str());
  icalproperty_set_x_name(name, "X-WR-CALNAME");
  icalcomponent_add_property(calendar.get(), name);
  for (const PublishedEvent& event : events) icalcomponent_add_component(calendar.get(), EventComponent(event, now));
  return ical::TextOf(calendar.get());
}

std::string PublishedFreeBusyText(const std::string& organizer, UtcSeconds from, UtcSeconds until,
                                  const std::vector<PublishedBusy>& periods, UtcSeconds now) {
  ical::Component calendar = ical::NewCalendar();
  icalcomponent_add_property(calendar.get(), icalproperty_new_method(ICAL_METHOD_PUBLISH));
  icalcomponent* freebusy = icalcomponent_new_vfreebusy();
  icalcomponent_add_property(freebusy, icalproperty_new_dtstamp(ical::UtcValue(now)));
  const std::string uid = "freebusy-" + std::to_string(from) + "-" + std::to_string(until) + "-" +
                          organizer.substr(organizer.find(':') + 1);
  icalcomponent_add_property(freebusy, icalproperty_new_uid(uid.c_str()));
  if (!organizer.empty()) icalcomponent_add_property(freebusy, icalproperty_new_organizer(organizer.c_str()));
  icalcomponent_add_property(freebusy, icalproperty_new_dtstart(ical::UtcValue(from)));
  icalcomponent_add_property(freebusy, icalproperty_new_dtend(ical::UtcValue(until)));
  for (const PublishedBusy& period : periods) {
    icalperiodtype span = icalperiodtype_null_period();
    span.start = ical::UtcValue(period.start);
    span.end = ical::UtcValue(period.end);
    icalproperty* line = icalproperty_new_freebusy(span);
    icalproperty_add_parameter(line, icalparameter_new_fbtype(FbTypeOf(period.type)));
    icalcomponent_add_property(freebusy, line);
  }
  icalcomponent_add_component(calendar.get(), freebusy);
  return ical::TextOf(calendar.get());
}

}  // namespace orbitel::data
