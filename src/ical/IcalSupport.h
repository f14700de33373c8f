#pragma once
// Shared pieces of the iCalendar code: owners of libical's allocations and the reading of an
// iCalendar time as a UTC moment of the store.

#include <libical/ical.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "store/StoreTime.h"

namespace orbitel::data::ical {

struct ComponentFree {
  void operator()(icalcomponent* component) const { icalcomponent_free(component); }
};
using Component = std::unique_ptr<icalcomponent, ComponentFree>;

struct RecurIteratorFree {
  void operator()(icalrecur_iterator* iterator) const { icalrecur_iterator_free(iterator); }
};
using RecurIterator = std::unique_ptr<icalrecur_iterator, RecurIteratorFree>;

// Parses one VCALENDAR text; null when libical makes nothing of it.
Component ParseComponent(std::string_view text);
// The component's iCalendar text.
std::string TextOf(icalcomponent* component);

// The moment a time value of a property stands for. The zone comes from the property's TZID:
// the calendar's VTIMEZONE of that id, else libical's builtin zone of that name. A time without
// a zone, or with one neither knows, is the server's local time; a date is its local midnight.
// nullopt for a null time.
std::optional<UtcSeconds> UtcOf(icaltimetype time, icalproperty* property,
                                icalcomponent* calendar);

// The master VEVENT (the one without RECURRENCE-ID), else the first VEVENT; null without any.
icalcomponent* MasterEvent(icalcomponent* calendar);

// An X- property's value by name (ASCII case ignored); null when absent.
const char* XPropertyValue(icalcomponent* event, const char* name);

// An empty VCALENDAR of this program: VERSION 2.0 and its PRODID.
Component NewCalendar();
// The moment as an iCalendar UTC time.
icaltimetype UtcValue(UtcSeconds seconds);
// The day as an iCalendar date.
icaltimetype DateValue(Date day);

}  // namespace orbitel::data::ical
