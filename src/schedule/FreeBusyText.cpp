#include "schedule/FreeBusyText.h"

#include "ical/IcalSupport.h"

namespace orbitel::schedule {

namespace {

icalparameter_fbtype FbTypeOf(BusyKind kind) {
  switch (kind) {
    case BusyKind::kTentative: return ICAL_FBTYPE_BUSYTENTATIVE;
    case BusyKind::kOutOfOffice: return ICAL_FBTYPE_BUSYUNAVAILABLE;
    case BusyKind::kBusy: break;
  }
  return ICAL_FBTYPE_BUSY;
}

}  // namespace

std::string FreeBusyText(const std::string& organizer, UtcSeconds from, UtcSeconds until,
                         const std::vector<BusyPeriod>& periods, UtcSeconds now) {
  data::ical::Component calendar = data::ical::NewCalendar();
  icalcomponent_add_property(calendar.get(), icalproperty_new_method(ICAL_METHOD_PUBLISH));
  icalcomponent* freebusy = icalcomponent_new_vfreebusy();
  icalcomponent_add_property(freebusy, icalproperty_new_dtstamp(data::ical::UtcValue(now)));
  // The same person and span give the same UID, so a reader replaces what it read before.
  const std::string uid = "freebusy-" + std::to_string(from) + "-" + std::to_string(until) + "-" +
                          organizer.substr(organizer.find(':') + 1);
  icalcomponent_add_property(freebusy, icalproperty_new_uid(uid.c_str()));
  if (!organizer.empty()) icalcomponent_add_property(freebusy, icalproperty_new_organizer(organizer.c_str()));
  icalcomponent_add_property(freebusy, icalproperty_new_dtstart(data::ical::UtcValue(from)));
  icalcomponent_add_property(freebusy, icalproperty_new_dtend(data::ical::UtcValue(until)));
  for (const BusyPeriod& period : periods) {
    icalperiodtype span = icalperiodtype_null_period();
    span.start = data::ical::UtcValue(period.start);
    span.end = data::ical::UtcValue(period.end);
    icalproperty* line = icalproperty_new_freebusy(span);
    icalproperty_add_parameter(line, icalparameter_new_fbtype(FbTypeOf(period.kind)));
    icalcomponent_add_property(freebusy, line);
  }
  icalcomponent_add_component(calendar.get(), freebusy);
  return data::ical::TextOf(calendar.get());
}

}  // namespace orbitel::schedule
