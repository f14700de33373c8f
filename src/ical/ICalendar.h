#pragma once
// Calendar texts on libical: split into the store's items (the VEVENTs of one UID: the master
// and its overridden occurrences), joined again, and an event's properties written while
// keeping every other property the item carries. Reading an item's properties and occurrences
// is ItemOccurrences.h.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/Status.h"
#include "store/StoreItem.h"
#include "store/StoreTime.h"

namespace orbitel::data {

// One item of the store: its UID and a VCALENDAR text holding its VEVENTs and the VTIMEZONEs
// they refer to.
struct CalendarItem {
  std::string uid;
  std::string ics;
};

// Every item of a calendar text (one or more VCALENDARs), in the order their UIDs first appear;
// a VEVENT without a UID gets a generated one. Text that does not parse, is not a VCALENDAR,
// leaves a component open or ends one that was not begun, has a line without a colon or an event
// without a usable DTSTART fails with errors::kSyntaxError, "line N: ...". Other components
// (to-dos, journal entries) are left out.
Result<std::vector<CalendarItem>> ParseCalendar(std::string_view text);

// One VCALENDAR holding every item's components, each VTIMEZONE once.
std::string JoinCalendar(const std::vector<std::string>& items);

// An event's times as the appointment object sets them, in the server's local time. All-day
// events are written as the local dates (VALUE=DATE), others in UTC.
struct EventTimes {
  Date start_local;
  Date end_local;
  bool all_day = false;
};

// The properties the appointment object writes; unset ones are left as the item has them.
struct EventEdit {
  std::optional<std::string> subject;      // SUMMARY
  std::optional<std::string> location;     // LOCATION
  std::optional<std::string> busystatus;   // X-MICROSOFT-CDO-BUSYSTATUS, TRANSP and STATUS
  std::optional<std::string> description;  // DESCRIPTION
  std::optional<EventTimes> times;         // DTSTART and DTEND (a DURATION is replaced)
};

// A new single-event calendar with the UID, a DTSTAMP of now and the edit's properties.
std::string NewEventCalendar(const std::string& uid, const EventEdit& edit);
// The item with the edit applied to its master event; every other property is kept.
Result<std::string> EditEventCalendar(std::string_view ics, const EventEdit& edit);
// The item with every VEVENT's UID replaced.
Result<std::string> WithUid(std::string_view ics, const std::string& uid);

// A fresh unique id for an item ("<32 hex digits>@orbitel").
std::string NewUid();

}  // namespace orbitel::data
