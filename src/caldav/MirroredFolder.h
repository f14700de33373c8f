#pragma once
// A CalDAV calendar of a site that keeps a mirror (CalendarMirror). When its last refresh brought
// it in step, its period queries inside the window the mirror holds are answered from the
// mirror by the local store's own period query, so a page costs what it costs on the local
// store; every other query, and every read and write of an item, goes to the server folder as
// without the mirror. A change the server accepted is written into the mirror at once, so the
// page after it shows it; and every write is counted in the mirror as it begins and ends, so a
// refresh under way meanwhile never puts back the item as it was before (CalendarMirror::Apply).

#include <memory>
#include <optional>
#include <string>

#include "caldav/CalendarMirror.h"
#include "store/StoreProvider.h"

namespace orbitel::data {

// server_folder is the calendar's folder on the server; in_step the calendar in the mirror when
// its last refresh brought it in step, else nullopt (every query then goes to the server).
std::unique_ptr<StoreFolder> MakeMirroredFolder(std::shared_ptr<CalendarMirror> mirror,
                                                std::optional<CalendarMirror::Calendar> in_step,
                                                std::unique_ptr<StoreFolder> server_folder);

// The oldest time the mirrored calendars the calling thread opened since the last call were
// brought in step (nullopt when it opened none), and starts counting afresh: what a page read
// is at most that old.
std::optional<UtcSeconds> TakeOldestMirrorRead();

}  // namespace orbitel::data
