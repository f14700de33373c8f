#pragma once
// The WebDAV XML the CalDAV store exchanges, on pugixml: the bodies of the PROPFIND and
// calendar-query REPORT requests it sends, and the resources of a 207 multistatus answer.
// Elements are recognised by namespace and local name, whatever prefixes the server chose.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "data/StoreTime.h"
#include "runtime/Status.h"

namespace orbitel::data {

// One <response> of a multistatus, with the properties its successful <propstat>s carry.
struct DavResource {
  std::string href;           // as sent: usually an absolute path, percent-encoded
  long status = 200;          // a <status> of the response itself, else 200
  std::string etag;           // DAV:getetag
  std::string calendar_data;  // CALDAV:calendar-data
  bool calendar = false;      // DAV:resourcetype holds CALDAV:calendar
};

// errors::kCannotOpenFolder, naming what is wrong, for text that is not a DAV:multistatus.
Result<std::vector<DavResource>> ParseMultistatus(std::string_view xml);

// PROPFIND asking for a collection's resource type.
std::string ResourceTypeRequest();
// calendar-query REPORT for the events (their etags and iCalendar texts) that overlap the
// period; an open end leaves that side of the time range out, both open ask for every event.
std::string CalendarQueryRequest(std::optional<UtcSeconds> start, std::optional<UtcSeconds> end);

}  // namespace orbitel::data
