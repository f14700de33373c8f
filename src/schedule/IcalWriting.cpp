#include "schedule/IcalWriting.h"

namespace orbitel::schedule {

data::ical::Component PublishedCalendar() {
  data::ical::Component calendar(icalcomponent_new_vcalendar());
  icalcomponent_add_property(calendar.get(), icalproperty_new_version("2.0"));
  icalcomponent_add_property(calendar.get(), icalproperty_new_prodid("-//Orbitel//Orbitel//EN"));
  icalcomponent_add_property(calendar.get(), icalproperty_new_method(ICAL_METHOD_PUBLISH));
  return calendar;
}

icaltimetype UtcTime(UtcSeconds moment) {
  return icaltime_from_timet_with_zone(static_cast<time_t>(moment), 0, icaltimezone_get_utc_timezone());
}

icaltimetype LocalDate(UtcSeconds moment) {
  const Date local = data::LocalOfUtc(moment);
  icaltimetype date = icaltime_null_date();
  date.year = local.Year();
  date.month = local.Month();
  date.day = local.Day();
  return date;
}

}  // namespace orbitel::schedule
