#include "ical/ICalendar.h"

#include <strings.h>

#include <cstdio>
#include <ctime>
#include <map>
#include <random>
#include <set>

#include "ical/CalendarText.h"
#include "ical/IcalSupport.h"
#include "runtime/Conversions.h"
#include "runtime/ErrorNumbers.h"

namespace orbitel::data {
namespace {

Status SyntaxError(const std::string& what) {
  return Status::Error(errors::kSyntaxError, what);
}

// The TZIDs an event's properties refer to.
void CollectZoneIds(icalcomponent* event, std::set<std::string>& ids) {
  for (icalproperty* property = icalcomponent_get_first_property(event, ICAL_ANY_PROPERTY);
       property != nullptr;
       property = icalcomponent_get_next_property(event, ICAL_ANY_PROPERTY)) {
    if (const char* tzid = icalproperty_get_parameter_as_string(property, "TZID")) {
      ids.insert(tzid);
    }
  }
}

// Copies of the source calendar's VTIMEZONEs named in ids (each id once) into target.
void AddZones(icalcomponent* source, const std::set<std::string>& ids, icalcomponent* target,
              std::set<std::string>& added) {
  for (icalcomponent* zone = icalcomponent_get_first_component(source, ICAL_VTIMEZONE_COMPONENT);
       zone != nullptr;
       zone = icalcomponent_get_next_component(source, ICAL_VTIMEZONE_COMPONENT)) {
    icalproperty* tzid = icalcomponent_get_first_property(zone, ICAL_TZID_PROPERTY);
    if (tzid == nullptr) continue;
    const std::string id = icalproperty_get_tzid(tzid);
    if (!ids.count(id) || added.count(id)) continue;
    added.insert(id);
    icalcomponent_add_component(target, icalcomponent_new_clone(zone));
  }
}

// The first error libical noted inside an event while parsing it, if any.
const char* ParseErrorIn(icalcomponent* event) {
  icalproperty* error = icalcomponent_get_first_property(event, ICAL_XLICERROR_PROPERTY);
  return error != nullptr ? icalproperty_get_xlicerror(error) : nullptr;
}

void ReplaceXProperty(icalcomponent* event, const char* name, const std::string& value) {
  std::vector<icalproperty*> old;
  for (icalproperty* property = icalcomponent_get_first_property(event, ICAL_X_PROPERTY);
       property != nullptr;
       property = icalcomponent_get_next_property(event, ICAL_X_PROPERTY)) {
    const char* x_name = icalproperty_get_x_name(property);
    if (x_name != nullptr && strcasecmp(x_name, name) == 0) old.push_back(property);
  }
  for (icalproperty* property : old) {
    icalcomponent_remove_property(event, property);
    icalproperty_free(property);
  }
  icalproperty* property = icalproperty_new_x(value.c_str());
  icalproperty_set_x_name(property, name);
  icalcomponent_add_property(event, property);
}

void RemoveAll(icalcomponent* event, icalproperty_kind kind) {
  while (icalproperty* property = icalcomponent_get_first_property(event, kind)) {
    icalcomponent_remove_property(event, property);
    icalproperty_free(property);
  }
}

void SetText(icalcomponent* event, icalproperty_kind kind, const std::string& value) {
  RemoveAll(event, kind);
  if (value.empty()) return;
  icalproperty* property = icalproperty_new(kind);
  icalproperty_set_value(property, icalvalue_new_text(value.c_str()));
  icalcomponent_add_property(event, property);
}

void SetTimes(icalcomponent* event, const EventTimes& times) {
  RemoveAll(event, ICAL_DTSTART_PROPERTY);
  RemoveAll(event, ICAL_DTEND_PROPERTY);
  RemoveAll(event, ICAL_DURATION_PROPERTY);
  if (times.all_day) {
    const Date start = times.start_local.DatePart();
    // An end at midnight is the first day no longer covered; any later time covers its day.
    Date end = times.end_local.IsMidnight() ? times.end_local.DatePart()
                                            : times.end_local.AddDays(1).value_or(start).DatePart();
    if (!(end > start)) end = start.AddDays(1).value_or(start);
    icalcomponent_add_property(event, icalproperty_new_dtstart(ical::DateValue(start)));
    icalcomponent_add_property(event, icalproperty_new_dtend(ical::DateValue(end)));
  } else {
    const UtcSeconds start = UtcOfLocal(times.start_local);
    UtcSeconds end = UtcOfLocal(times.end_local);
    if (end < start) end = start;
    icalcomponent_add_property(event, icalproperty_new_dtstart(ical::UtcValue(start)));
    icalcomponent_add_property(event, icalproperty_new_dtend(ical::UtcValue(end)));
  }
}

void SetBusyStatus(icalcomponent* event, const std::string& status) {
  const std::string upper = ToUpper(status);
  ReplaceXProperty(event, "X-MICROSOFT-CDO-BUSYSTATUS", upper);
  // Clients that do not know the Microsoft property read TRANSP and STATUS instead.
  RemoveAll(event, ICAL_TRANSP_PROPERTY);
  icalcomponent_add_property(
      event, icalproperty_new_transp(upper == "FREE" ? ICAL_TRANSP_TRANSPARENT : ICAL_TRANSP_OPAQUE));
  icalproperty* current = icalcomponent_get_first_property(event, ICAL_STATUS_PROPERTY);
  if (upper == "TENTATIVE") {
    RemoveAll(event, ICAL_STATUS_PROPERTY);
    icalcomponent_add_property(event, icalproperty_new_status(ICAL_STATUS_TENTATIVE));
  } else if (current != nullptr && icalproperty_get_status(current) == ICAL_STATUS_TENTATIVE) {
    RemoveAll(event, ICAL_STATUS_PROPERTY);
    icalcomponent_add_property(event, icalproperty_new_status(ICAL_STATUS_CONFIRMED));
  }
}

void Stamp(icalcomponent* event) {
  RemoveAll(event, ICAL_DTSTAMP_PROPERTY);
  icalcomponent_add_property(
      event, icalproperty_new_dtstamp(ical::UtcValue(static_cast<UtcSeconds>(std::time(nullptr)))));
}

void ApplyEdit(icalcomponent* event, const EventEdit& edit) {
  if (edit.subject) SetText(event, ICAL_SUMMARY_PROPERTY, *edit.subject);
  if (edit.location) SetText(event, ICAL_LOCATION_PROPERTY, *edit.location);
  if (edit.description) SetText(event, ICAL_DESCRIPTION_PROPERTY, *edit.description);
  if (edit.busystatus) SetBusyStatus(event, *edit.busystatus);
  if (edit.times) SetTimes(event, *edit.times);
  Stamp(event);
}

}  // namespace

Result<std::vector<CalendarItem>> ParseCalendar(std::string_view text) {
  Result<std::vector<CalendarBlock>> blocks = SplitCalendarText(text);
  if (!blocks.ok()) return blocks.status();

  struct Grouped {
    ical::Component calendar;
    std::set<std::string> zone_ids;
    std::set<std::string> zones_added;
  };
  std::vector<std::string> order;
  std::map<std::string, Grouped> items;
  for (const CalendarBlock& block : *blocks) {
    const int block_line = block.event_lines.empty() ? 1 : block.event_lines.front();
    ical::Component source = ical::ParseComponent(block.text);
    if (!source || icalcomponent_isa(source.get()) != ICAL_VCALENDAR_COMPONENT) {
      return SyntaxError("line " + std::to_string(block_line) + ": not a calendar libical can read");
    }
    std::vector<icalcomponent*> events;
    for (icalcomponent* event =
             icalcomponent_get_first_component(source.get(), ICAL_VEVENT_COMPONENT);
         event != nullptr;
         event = icalcomponent_get_next_component(source.get(), ICAL_VEVENT_COMPONENT)) {
      events.push_back(event);
    }
    for (std::size_t i = 0; i < events.size(); ++i) {
      icalcomponent* event = events[i];
      const int line = i < block.event_lines.size() ? block.event_lines[i] : block_line;
      const std::string where = "line " + std::to_string(line) + ": ";
      if (const char* error = ParseErrorIn(event)) return SyntaxError(where + error);
      icalproperty* start = icalcomponent_get_first_property(event, ICAL_DTSTART_PROPERTY);
      if (start == nullptr || icaltime_is_null_time(icalproperty_get_dtstart(start))) {
        return SyntaxError(where + "an event without a valid DTSTART");
      }
      const char* uid_text = icalcomponent_get_uid(event);
      std::string uid = uid_text != nullptr ? Trim(uid_text) : std::string();
      if (uid.empty()) {
        uid = NewUid();
        icalcomponent_set_uid(event, uid.c_str());
      }
      icalcomponent_remove_component(source.get(), event);
      auto [entry, is_new] = items.try_emplace(uid);
      if (is_new) {
        order.push_back(uid);
        entry->second.calendar = ical::NewCalendar();
      }
      CollectZoneIds(event, entry->second.zone_ids);
      icalcomponent_add_component(entry->second.calendar.get(), event);
      AddZones(source.get(), entry->second.zone_ids, entry->second.calendar.get(),
               entry->second.zones_added);
    }
  }

  std::vector<CalendarItem> result;
  result.reserve(order.size());
  for (const std::string& uid : order) {
    Grouped& grouped = items.at(uid);
    // VTIMEZONEs first, as other clients expect to meet them before the events.
    ical::Component ordered = ical::NewCalendar();
    std::vector<icalcomponent*> zones, events;
    for (icalcomponent* c = icalcomponent_get_first_component(grouped.calendar.get(), ICAL_ANY_COMPONENT);
         c != nullptr; c = icalcomponent_get_next_component(grouped.calendar.get(), ICAL_ANY_COMPONENT)) {
      (icalcomponent_isa(c) == ICAL_VTIMEZONE_COMPONENT ? zones : events).push_back(c);
    }
    for (icalcomponent* c : zones) icalcomponent_remove_component(grouped.calendar.get(), c);
    for (icalcomponent* c : events) icalcomponent_remove_component(grouped.calendar.get(), c);
    for (icalcomponent* c : zones) icalcomponent_add_component(ordered.get(), c);
    for (icalcomponent* c : events) icalcomponent_add_component(ordered.get(), c);
    result.push_back(CalendarItem{uid, ical::TextOf(ordered.get())});
  }
  return result;
}

std::string JoinCalendar(const std::vector<std::string>& items) {
  ical::Component joined = ical::NewCalendar();
  std::vector<icalcomponent*> events;
  std::set<std::string> zones_added;
  for (const std::string& ics : items) {
    ical::Component item = ical::ParseComponent(ics);
    if (!item) continue;
    std::set<std::string> ids;
    std::vector<icalcomponent*> item_events;
    for (icalcomponent* event = icalcomponent_get_first_component(item.get(), ICAL_VEVENT_COMPONENT);
         event != nullptr;
         event = icalcomponent_get_next_component(item.get(), ICAL_VEVENT_COMPONENT)) {
      CollectZoneIds(event, ids);
      item_events.push_back(event);
    }
    AddZones(item.get(), ids, joined.get(), zones_added);
    for (icalcomponent* event : item_events) {
      icalcomponent_remove_component(item.get(), event);
      events.push_back(event);
    }
  }
  for (icalcomponent* event : events) icalcomponent_add_component(joined.get(), event);
  return ical::TextOf(joined.get());
}

std::string NewEventCalendar(const std::string& uid, const EventEdit& edit) {
  ical::Component calendar = ical::NewCalendar();
  icalcomponent* event = icalcomponent_new_vevent();
  icalcomponent_set_uid(event, uid.c_str());
  icalcomponent_add_component(calendar.get(), event);
  ApplyEdit(event, edit);
  return ical::TextOf(calendar.get());
}

Result<std::string> EditEventCalendar(std::string_view ics, const EventEdit& edit) {
  ical::Component calendar = ical::ParseComponent(ics);
  icalcomponent* event = calendar ? ical::MasterEvent(calendar.get()) : nullptr;
  if (event == nullptr) return SyntaxError("the item holds no event");
  ApplyEdit(event, edit);
  return ical::TextOf(calendar.get());
}

Result<std::string> WithUid(std::string_view ics, const std::string& uid) {
  ical::Component calendar = ical::ParseComponent(ics);
  if (!calendar || ical::MasterEvent(calendar.get()) == nullptr) {
    return SyntaxError("the item holds no event");
  }
  for (icalcomponent* event = icalcomponent_get_first_component(calendar.get(), ICAL_VEVENT_COMPONENT);
       event != nullptr;
       event = icalcomponent_get_next_component(calendar.get(), ICAL_VEVENT_COMPONENT)) {
    icalcomponent_set_uid(event, uid.c_str());
  }
  return ical::TextOf(calendar.get());
}

std::string NewUid() {
  thread_local std::mt19937_64 generator{std::random_device{}()};
  char text[40];
  std::snprintf(text, sizeof text, "%016llx%016llx",
                static_cast<unsigned long long>(generator()),
                static_cast<unsigned long long>(generator()));
  return std::string(text) + "@orbitel";
}

}  // namespace orbitel::data
