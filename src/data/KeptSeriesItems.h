#pragma once
// The recurring items of the local store's folders as last read, kept for the whole process:
// found by the database file, the folder and the database's count of changes (which every write
// bumps), so a team page need not read a folder's series again until something was written.
// At most a few megabytes are kept; when full, all is dropped and the keeping starts over.
// Safe from any thread.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "data/StoreTime.h"

namespace orbitel::data {

// One recurring item: its name in the folder, its iCalendar text and the span of its
// occurrences (no end: it never ends).
struct SeriesItem {
  std::string name;
  std::string ics;
  UtcSeconds span_start = 0;
  std::optional<UtcSeconds> span_end;
};
// A folder's recurring items in the order of their first start.
using FolderSeries = std::vector<SeriesItem>;

// `database` names the file and its identity on disk, so a file put in its place is another.
std::shared_ptr<const FolderSeries> FindKeptSeries(const std::string& database, std::int64_t folder,
                                                   std::int64_t changes);
void KeepSeries(const std::string& database, std::int64_t folder, std::int64_t changes,
                std::shared_ptr<const FolderSeries> series);

}  // namespace orbitel::data
