#include "data/IcalSupport.h"

#include <strings.h>

#include <mutex>

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

}  // namespace

Component ParseComponent(std::string_view text) {
  InitialiseOnce();
  const std::string copy(text);
  return Component(icalparser_parse_string(copy.c_str()));
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

}  // namespace orbitel::data::ical
