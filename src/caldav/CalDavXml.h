#pragma once
// The WebDAV XML the CalDAV store exchanges, on pugixml: the bodies of the PROPFIND and
// calendar-query REPORT requests it sends, and the resources of a 207 multistatus answer.
// Elements are recognised by namespace and local name, whatever prefixes the server chose.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/Status.h"
#include "store/StoreTime.h"

namespace orbitel::data {

// One <response> of a multistatus, with the properties its successful <propstat>s carry.
struct DavResource {
  std::string href;           // as sent: usually an absolute path, percent-encoded
  long status = 200;          // a <status> of the response itself, else 200
  std::string etag;           // DAV:getetag
  std::string calendar_data;  // CALDAV:calendar-data
  bool calendar = false;      // DAV:resourcetype holds CALDAV:calendar
  // DAV:sync-token of a collection; nullopt when the server offers it no sync-collection.
  std::optional<std::string> sync_token;
};

// errors::kCannotOpenFolder, naming what is wrong, for text that is not a DAV:multistatus.
Result<std::vector<DavResource>> ParseMultistatus(std::string_view xml);

// A sync-collection REPORT's answer: the members changed since the token sent (a removed one
// with status 404) and the collection's new sync token.
struct SyncAnswer {
  std::vector<DavResource> resources;
  std::string sync_token;
};
// errors::kCannotOpenFolder for text that is not a multistatus or carries no new sync token
// (an answer cut short before its end never does).
Result<SyncAnswer> ParseSyncAnswer(std::string_view xml);

// The file name a multistatus href names (its last segment, percent-decoded); nullopt for a
// collection.
std::optional<std::string> MemberNameOf(std::string_view href);

// PROPFIND asking for a collection's resource type.
std::string ResourceTypeRequest();
// PROPFIND asking for a collection's resource type and its sync token (RFC 6578), if it has one.
std::string CollectionStateRequest();
// sync-collection REPORT (RFC 6578) for the members changed since the token (empty: all of
// them), with their etags and, with calendar_data, their iCalendar texts.
std::string SyncCollectionRequest(const std::string& sync_token, bool calendar_data);
// calendar-multiget REPORT for the etags and iCalendar texts of the members at these hrefs.
std::string MultigetRequest(const std::vector<std::string>& hrefs);
// calendar-query REPORT for the etags alone of the events overlapping the period.
std::string EtagQueryRequest(UtcSeconds start, UtcSeconds end);
// calendar-query REPORT for the iCalendar texts of the events that overlap the period (a period
// query needs nothing else of them); an open end leaves that side of the time range out, both
// open ask for every event.
std::string CalendarQueryRequest(std::optional<UtcSeconds> start, std::optional<UtcSeconds> end);

}  // namespace orbitel::data
