#pragma once
// What team pages read of the local store again and again, kept for the whole process: each
// folder's recurring items and the calendar folder of each mailbox. Found by the database file
// and its count of changes (which every write bumps), so nothing is read again until something
// was written. At most a few megabytes of series are kept; when full, all are dropped and the
// keeping starts over. Safe from any thread.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "store/StoreTime.h"

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

// The calendar folder of a mailbox, by the account as it was asked for.
std::optional<std::int64_t> FindKeptFolder(const std::string& database, std::int64_t changes,
                                           const std::string& account);
void KeepFolder(const std::string& database, std::int64_t changes, const std::string& account,
                std::int64_t folder);

}  // namespace orbitel::data
