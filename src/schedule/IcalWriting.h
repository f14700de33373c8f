#pragma once
// What the free/busy and feed texts share: a VCALENDAR to publish and UTC moments as iCalendar
// times.

#include <string>

#include "data/IcalSupport.h"
#include "schedule/ScheduleItem.h"

namespace orbitel::schedule {

// An empty VCALENDAR (VERSION 2.0, this program's PRODID, METHOD:PUBLISH).
data::ical::Component PublishedCalendar();
icaltimetype UtcTime(UtcSeconds moment);
// The moment's date in the server's zone, as an iCalendar date.
icaltimetype LocalDate(UtcSeconds moment);

}  // namespace orbitel::schedule
