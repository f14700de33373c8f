#include "store/StoreItem.h"

#include <array>
#include <utility>

#include "runtime/Conversions.h"
#include "store/StoreProperties.h"

namespace orbitel::data {
namespace {

// The names are stored in lower case; a name asked for matches ignoring ASCII case, as
// ToLower would, without building a lowered copy for every lookup.
constexpr std::array<std::pair<std::string_view, StoreProperty>, 12> kProperties{{
    {"dav:href", StoreProperty::kHref},
    {"dav:displayname", StoreProperty::kDisplayName},
    {"urn:schemas:calendar:uid", StoreProperty::kUid},
    {"urn:schemas:httpmail:subject", StoreProperty::kSubject},
    {"urn:schemas:calendar:location", StoreProperty::kLocation},
    {"urn:schemas:calendar:dtstart", StoreProperty::kDtStart},
    {"urn:schemas:calendar:dtend", StoreProperty::kDtEnd},
    {"urn:schemas:calendar:alldayevent", StoreProperty::kAllDayEvent},
    {"urn:schemas:calendar:busystatus", StoreProperty::kBusyStatus},
    {"http://schemas.microsoft.com/exchange/sensitivity", StoreProperty::kSensitivity},
    {"urn:schemas:httpmail:textdescription", StoreProperty::kTextDescription},
    {"urn:schemas:calendar:recurrenceid", StoreProperty::kRecurrenceId},
}};

}  // namespace

std::optional<StoreProperty> StorePropertyNamed(std::string_view name) {
  for (const auto& [lower_name, property] : kProperties) {
    if (EqualsIgnoringCase(name, lower_name)) return property;
  }
  return std::nullopt;
}

Value PropertyValue(const StoreItem& item, StoreProperty property) {
  switch (property) {
    case StoreProperty::kHref: return Value(item.href);
    case StoreProperty::kDisplayName: return Value(item.displayname);
    case StoreProperty::kUid: return Value(item.uid);
    case StoreProperty::kSubject: return Value(item.subject);
    case StoreProperty::kLocation: return Value(item.location);
    case StoreProperty::kDtStart: return Value(item.dtstart);
    case StoreProperty::kDtEnd: return Value(item.dtend);
    case StoreProperty::kAllDayEvent: return Value(item.alldayevent);
    // The views compare the status with upper-case names, whatever case the item was stored in.
    case StoreProperty::kBusyStatus: return Value(ToUpper(item.busystatus));
    case StoreProperty::kSensitivity: return Value(item.sensitivity);
    case StoreProperty::kTextDescription: return Value(item.textdescription);
    case StoreProperty::kRecurrenceId:
      return item.recurrenceid ? Value(*item.recurrenceid) : Value();
  }
  return Value();
}

std::optional<Value> PropertyOf(const StoreItem& item, std::string_view property) {
  const std::optional<StoreProperty> known = StorePropertyNamed(property);
  if (!known) return std::nullopt;
  return PropertyValue(item, *known);
}

}  // namespace orbitel::data
