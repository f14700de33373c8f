// The CalDAV multistatus reader: the input as a server's 207 answer to a calendar-query REPORT,
// and every resource's calendar data split into items and expanded over an open period, as the
// CalDAV store does with what the server sends back.
#include <limits>

#include "FuzzInput.h"
#include "caldav/CalDavXml.h"
#include "ical/ICalendar.h"
#include "ical/ItemOccurrences.h"

using namespace orbitel;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  auto resources = data::ParseMultistatus(fuzz::InputText(data, size));
  if (!resources.ok()) return 0;
  for (const data::DavResource& resource : *resources) {
    if (resource.calendar_data.empty()) continue;
    auto items = data::ParseCalendar(resource.calendar_data);
    if (!items.ok()) continue;
    for (const data::CalendarItem& item : *items) {
      (void)data::ExpandItem(item.ics, std::numeric_limits<data::UtcSeconds>::min(),
                             std::numeric_limits<data::UtcSeconds>::max());
    }
  }
  return 0;
}
