#pragma once
// One calendar item as every store provider hands it to queries: the store's properties, with
// times in UTC, and the item's iCalendar source. A recurring item reaches a query as one
// StoreItem per occurrence inside the query's range, each with its recurrence id.

#include <optional>
#include <string>
#include <string_view>

#include "runtime/Date.h"
#include "runtime/Value.h"

namespace orbitel::data {

struct StoreItem {
  std::string href;              // DAV:href, the item's full URL
  std::string displayname;       // DAV:displayname, its file name in the folder ("<uid>.ics")
  std::string uid;               // urn:schemas:calendar:uid
  std::string subject;           // urn:schemas:httpmail:subject
  std::string location;          // urn:schemas:calendar:location
  Date dtstart;                  // urn:schemas:calendar:dtstart, UTC
  Date dtend;                    // urn:schemas:calendar:dtend, UTC
  bool alldayevent = false;      // urn:schemas:calendar:alldayevent
  std::string busystatus;        // urn:schemas:calendar:busystatus: BUSY, TENTATIVE, OOF, FREE
  int sensitivity = 0;           // http://schemas.microsoft.com/exchange/sensitivity: 0..3
  std::string textdescription;   // urn:schemas:httpmail:textdescription
  std::optional<Date> recurrenceid;  // urn:schemas:calendar:recurrenceid, UTC
};

// The value of a store property by its full name; nullopt for a property the store does not
// know (reading it is then an error, as the original store reported).
std::optional<Value> PropertyOf(const StoreItem& item, std::string_view property);

}  // namespace orbitel::data
