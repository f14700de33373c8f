#pragma once
// A CalDAV calendar whose last refresh brought its mirror in step (CalendarMirror): its period
// queries inside the window the mirror holds are answered from the mirror by the local store's
// own period query, so a page costs what it costs on the local store; every other query, and
// every read and write of an item, goes to the server folder as without the mirror. A change
// the server accepted is written into the mirror at once, so the page after it shows it.

#include <memory>
#include <string>

#include "caldav/CalendarMirror.h"
#include "store/StoreProvider.h"

namespace orbitel::data {

// server_folder is the calendar's folder on the server, opened without asking the server.
std::unique_ptr<StoreFolder> MakeMirroredFolder(std::shared_ptr<CalendarMirror> mirror,
                                                CalendarMirror::Calendar calendar,
                                                std::unique_ptr<StoreFolder> server_folder);

// The oldest time the mirrored calendars the calling thread opened since the last call were
// brought in step (nullopt when it opened none), and starts counting afresh: what a page read
// is at most that old.
std::optional<UtcSeconds> TakeOldestMirrorRead();

}  // namespace orbitel::data
