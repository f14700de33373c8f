#include "ical/IcalSupport.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "ical/CalendarText.h"

namespace orbitel::data::ical {
namespace {

struct BufferFree {
  void operator()(char* buffer) const { icalmemory_free_buffer(buffer); }
};

void InitialiseOnce() {
  static std::once_flag once;
  // Malformed input must come back as an error, never abort the server.
  std::call_once(once, [] { icalerror_set_errors_are_fatal(0); });
}

icaltimezone* ZoneOf(icalproperty* property, icalcomponent* calendar) {
  if (property == nullptr) return nullptr;
  const char* tzid = icalproperty_get_parameter_as_string(property, "TZID");
  if (tzid == nullptr || *tzid == '\0') return nullptr;
  if (calendar != nullptr) {
    if (icaltimezone* zone = icalcomponent_get_timezone(calendar, tzid)) return zone;
  }
  if (icaltimezone* zone = icaltimezone_get_builtin_timezone(tzid)) return zone;
  return icaltimezone_get_builtin_timezone_from_tzid(tzid);
}

// The text properties people type, whose blanks at either end are theirs to keep.
struct TypedText {
  const char* name;
  icalproperty_kind kind;
  void (*set)(icalproperty*, const char*);
};
constexpr TypedText kTypedTexts[] = {
    {"SUMMARY", ICAL_SUMMARY_PROPERTY, icalproperty_set_summary},
    {"LOCATION", ICAL_LOCATION_PROPERTY, icalproperty_set_location},
    {"DESCRIPTION", ICAL_DESCRIPTION_PROPERTY, icalproperty_set_description},
};

bool IsBlank(char c) { return c == ' ' || c == '\t'; }

// A content line's value with the text escapes undone (\n, \, \; and \\).
std::string Unescaped(std::string_view value) {
  std::string text;
  for (std::size_t i = 0; i < value.size(); ++i) {
    if (value[i] != '\\' || i + 1 == value.size()) {
      text += value[i];
      continue;
    }
    const char next = value[++i];
    text += next == 'n' || next == 'N' ? '\n' : next;
  }
  return text;
}

// Whether any value may start or end with a blank: a colon followed by one, or one before a
// line end. Most items have none, and their parsing stays as cheap as libical makes it.
bool MayHaveEdgeBlanks(std::string_view text) {
  for (std::size_t i = 0; i + 1 < text.size(); ++i) {
    if ((text[i] == ':' && IsBlank(text[i + 1])) || (IsBlank(text[i]) && (text[i + 1] == '\r' || text[i + 1] == '\n'))) {
      return true;
    }
  }
  return !text.empty() && IsBlank(text.back());
}

// libical's parser strips the blanks at both ends of every value. The subject, location and
// notes of each event are set again from the text as written, where they had such blanks, so
// what was typed or imported comes back byte for byte.
void RestoreTypedBlanks(icalcomponent* root, std::string_view text) {
  if (root == nullptr || !MayHaveEdgeBlanks(text)) return;
  // Per event in the text's order: the raw value of each typed text property, when it has
  // blanks at an end.
  std::vector<std::array<std::optional<std::string>, std::size(kTypedTexts)>> events;
  std::vector<std::string> open;
  bool any = false;
  ContentLineReader reader(text);
  ContentLine line;
  while (reader.Next(line)) {
    if (line.colon == std::string::npos) continue;
    const std::string name(line.Name());
    const std::string_view value = line.Value();
    if (strcasecmp(name.c_str(), "BEGIN") == 0) {
      open.emplace_back(value);
      if (strcasecmp(open.back().c_str(), "VEVENT") == 0) events.emplace_back();
    } else if (strcasecmp(name.c_str(), "END") == 0) {
      if (!open.empty()) open.pop_back();
    } else if (!open.empty() && strcasecmp(open.back().c_str(), "VEVENT") == 0 && !events.empty() &&
               !value.empty() && (IsBlank(value.front()) || IsBlank(value.back()))) {
      for (std::size_t i = 0; i < std::size(kTypedTexts); ++i) {
        if (strcasecmp(name.c_str(), kTypedTexts[i].name) == 0 && !events.back()[i]) {
          events.back()[i] = Unescaped(value);
          any = true;
        }
      }
    }
  }
  if (!any) return;
  // The events of the parsed tree in the same order.
  std::size_t index = 0;
  const auto restore = [&](auto&& self, icalcomponent* component) -> void {
    if (icalcomponent_isa(component) == ICAL_VEVENT_COMPONENT) {
      if (index < events.size()) {
        for (std::size_t i = 0; i < std::size(kTypedTexts); ++i) {
          icalproperty* property = icalcomponent_get_first_property(component, kTypedTexts[i].kind);
          if (property != nullptr && events[index][i]) kTypedTexts[i].set(property, events[index][i]->c_str());
        }
      }
      ++index;
      return;
    }
    for (icalcomponent* inner = icalcomponent_get_first_component(component, ICAL_ANY_COMPONENT); inner != nullptr;
         inner = icalcomponent_get_next_component(component, ICAL_ANY_COMPONENT)) {
      self(self, inner);
    }
  };
  restore(restore, root);
}

}  // namespace

Component ParseComponent(std::string_view text) {
  InitialiseOnce();
  const std::string copy(text);
  Component parsed(icalparser_parse_string(copy.c_str()));
  RestoreTypedBlanks(parsed.get(), text);
  return parsed;
}

std::string TextOf(icalcomponent* component) {
  std::unique_ptr<char, BufferFree> text(icalcomponent_as_ical_string_r(component));
  return text ? std::string(text.get()) : std::string();
}

std::optional<UtcSeconds> UtcOf(icaltimetype time, icalproperty* property,
                                icalcomponent* calendar) {
  if (icaltime_is_null_time(time)) return std::nullopt;
  if (time.is_date) return UtcOfLocalParts(time.year, time.month, time.day, 0, 0, 0);
  if (icaltime_is_utc(time)) {
    return static_cast<UtcSeconds>(icaltime_as_timet_with_zone(time, icaltimezone_get_utc_timezone()));
  }
  if (icaltimezone* zone = ZoneOf(property, calendar)) {
    return static_cast<UtcSeconds>(icaltime_as_timet_with_zone(time, zone));
  }
  // A floating time: the server's local wall-clock time.
  return UtcOfLocalParts(time.year, time.month, time.day, time.hour, time.minute, time.second);
}

icalcomponent* MasterEvent(icalcomponent* calendar) {
  icalcomponent* first = nullptr;
  for (icalcomponent* event = icalcomponent_get_first_component(calendar, ICAL_VEVENT_COMPONENT);
       event != nullptr;
       event = icalcomponent_get_next_component(calendar, ICAL_VEVENT_COMPONENT)) {
    if (first == nullptr) first = event;
    if (icalcomponent_get_first_property(event, ICAL_RECURRENCEID_PROPERTY) == nullptr) {
      return event;
    }
  }
  return first;
}

const char* XPropertyValue(icalcomponent* event, const char* name) {
  for (icalproperty* property = icalcomponent_get_first_property(event, ICAL_X_PROPERTY);
       property != nullptr;
       property = icalcomponent_get_next_property(event, ICAL_X_PROPERTY)) {
    const char* x_name = icalproperty_get_x_name(property);
    if (x_name != nullptr && strcasecmp(x_name, name) == 0) {
      return icalproperty_get_value_as_string(property);
    }
  }
  return nullptr;
}

Component NewCalendar() {
  Component calendar(icalcomponent_new_vcalendar());
  icalcomponent_add_property(calendar.get(), icalproperty_new_version("2.0"));
  icalcomponent_add_property(calendar.get(), icalproperty_new_prodid("-//Orbitel//Calendar//EN"));
  return calendar;
}

icaltimetype UtcValue(UtcSeconds seconds) {
  return icaltime_from_timet_with_zone(static_cast<time_t>(seconds), 0, icaltimezone_get_utc_timezone());
}

icaltimetype DateValue(Date day) {
  icaltimetype date = icaltime_null_date();
  date.year = day.Year();
  date.month = day.Month();
  date.day = day.Day();
  return date;
}

}  // namespace orbitel::data::ical
