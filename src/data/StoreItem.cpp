#include "data/StoreItem.h"

#include "runtime/Conversions.h"

namespace orbitel::data {

std::optional<Value> PropertyOf(const StoreItem& item, std::string_view property) {
  const std::string name = ToLower(property);
  if (name == "dav:href") return Value(item.href);
  if (name == "dav:displayname") return Value(item.displayname);
  if (name == "urn:schemas:calendar:uid") return Value(item.uid);
  if (name == "urn:schemas:httpmail:subject") return Value(item.subject);
  if (name == "urn:schemas:calendar:location") return Value(item.location);
  if (name == "urn:schemas:calendar:dtstart") return Value(item.dtstart);
  if (name == "urn:schemas:calendar:dtend") return Value(item.dtend);
  if (name == "urn:schemas:calendar:alldayevent") return Value(item.alldayevent);
  // The views compare the status with upper-case names, whatever case the item was stored in.
  if (name == "urn:schemas:calendar:busystatus") return Value(ToUpper(item.busystatus));
  if (name == "http://schemas.microsoft.com/exchange/sensitivity") return Value(item.sensitivity);
  if (name == "urn:schemas:httpmail:textdescription") return Value(item.textdescription);
  if (name == "urn:schemas:calendar:recurrenceid") {
    return item.recurrenceid ? Value(*item.recurrenceid) : Value();
  }
  return std::nullopt;
}

}  // namespace orbitel::data
