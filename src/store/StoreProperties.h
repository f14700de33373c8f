#pragma once
// The store's properties as ids, for queries that read the same few properties of many items:
// the name is matched once per query rather than once per item and field.

#include <optional>
#include <string_view>

#include "runtime/Value.h"
#include "store/StoreItem.h"

namespace orbitel::data {

enum class StoreProperty {
  kHref,
  kDisplayName,
  kUid,
  kSubject,
  kLocation,
  kDtStart,
  kDtEnd,
  kAllDayEvent,
  kBusyStatus,
  kSensitivity,
  kTextDescription,
  kRecurrenceId,
};

// The property of that full name, ignoring case; nullopt for one the store does not know.
std::optional<StoreProperty> StorePropertyNamed(std::string_view name);

// The item's value of the property, exactly as PropertyOf reads it.
Value PropertyValue(const StoreItem& item, StoreProperty property);

}  // namespace orbitel::data
