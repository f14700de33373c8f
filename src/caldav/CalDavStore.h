#pragma once
// The CalDAV calendar store ("MSDAIPP.DSO"): a folder URL
// "http(s)://<server>/<path>/<account>/calendar/" names a calendar collection on a CalDAV server,
// and an item's href is the folder URL followed by its file name ("<uid>.ics"). The program signs
// in with the account its settings hold.
//
// A period query asks the server for the events overlapping its time window (a calendar-query
// REPORT with a time-range) and expands recurring ones here, with the same code and the same
// local-time rules as the local store, so both stores answer a page alike; a query for one
// DAV:displayname reads that item alone; any other query reads the whole collection. Writes are
// conditional, so another client's change is never overwritten. Any failure to reach or read the
// server, or an answer that makes no sense, is errors::kCannotOpenFolder with its reason.
//
// A team page's folder opens and period queries are fetched ahead together (Prefetch: one after
// another over one kept-alive connection, each with the client's bounds), so the server answers
// a page as it would a plain client, one request a person once the folder is known.

#include <memory>
#include <string_view>

#include "store/StoreProvider.h"

namespace orbitel::data {

inline constexpr std::string_view kCalDavProviderName = "MSDAIPP.DSO";

// The provider signed in with settings.credentials, reading mirrored calendars from the mirror
// under settings.store_root when settings.caldav_mirror is set. Holds no state of its own per
// request (each folder has its own connection, each thread its own prefetched answers), so one
// instance serves any number of request threads at once.
std::shared_ptr<const StoreProvider> MakeCalDavProvider(StoreSettings settings);

}  // namespace orbitel::data
