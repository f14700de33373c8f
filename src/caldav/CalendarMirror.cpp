#include "caldav/CalendarMirror.h"

#include <filesystem>
#include <map>
#include <utility>

#include "ical/ICalendar.h"
#include "ical/ItemOccurrences.h"
#include "localstore/Sqlite.h"
#include "runtime/ErrorNumbers.h"

namespace orbitel::data {
namespace {

// Not a domain a store URL can name, so no site's mail domain shares its folder.
constexpr char kMirrorDomain[] = ".caldav-mirror";

// Beside the local store's own tables, which keep their schema version: a store database
// reads the mirror's items as any other.
constexpr const char* kStateSchema = R"sql(
CREATE TABLE IF NOT EXISTS mirror_state(
  folder INTEGER PRIMARY KEY REFERENCES folders(id) ON DELETE CASCADE,
  sync_token TEXT NOT NULL DEFAULT '',
  window_start INTEGER NOT NULL DEFAULT 0,
  window_end INTEGER NOT NULL DEFAULT 0,
  refreshed_at INTEGER,
  failure TEXT NOT NULL DEFAULT '',
  writes INTEGER NOT NULL DEFAULT 0);
)sql";
// A mirror made before writes were counted gains the column; it fails harmlessly when there.
constexpr const char* kWritesColumn =
    "ALTER TABLE mirror_state ADD COLUMN writes INTEGER NOT NULL DEFAULT 0";

Status CannotOpen(const std::string& description) {
  return Status::Error(errors::kCannotOpenFolder, description);
}

std::string WithSlash(const std::string& url) {
  return !url.empty() && url.back() == '/' ? url : url + '/';
}

}  // namespace

std::filesystem::path CalendarMirror::FolderOf(const std::string& store_root) {
  return std::filesystem::path(LocalStoreDatabase::PathOf(store_root, kMirrorDomain)).parent_path();
}

Result<std::shared_ptr<CalendarMirror>> CalendarMirror::Open(const std::string& store_root) {
  if (store_root.empty()) return std::shared_ptr<CalendarMirror>();
  Result<std::shared_ptr<LocalStoreDatabase>> database =
      LocalStoreDatabase::Open(store_root, kMirrorDomain);
  // No file yet is a mirror not refreshed yet; a file that cannot be read is a failure.
  if (!database.ok()) {
    if (!std::filesystem::exists(LocalStoreDatabase::PathOf(store_root, kMirrorDomain))) {
      return std::shared_ptr<CalendarMirror>();
    }
    return database.status();
  }
  thread_local std::map<std::string, std::shared_ptr<CalendarMirror>> opened;
  std::shared_ptr<CalendarMirror>& mirror = opened[store_root];
  if (!mirror || mirror->database_ != *database) {
    mirror.reset(new CalendarMirror(std::move(database).value()));
  }
  return mirror;
}

Result<std::shared_ptr<CalendarMirror>> CalendarMirror::OpenOrCreate(
    const std::string& store_root) {
  if (store_root.empty()) return CannotOpen("The calendar mirror has no store root configured");
  Result<std::shared_ptr<LocalStoreDatabase>> database =
      LocalStoreDatabase::OpenOrCreate(store_root, kMirrorDomain);
  if (!database.ok()) return database.status();
  std::shared_ptr<CalendarMirror> mirror(new CalendarMirror(std::move(database).value()));
  if (!mirror->database_->Execute(kStateSchema)) {
    return mirror->Failure("creating its sync state");
  }
  (void)mirror->database_->Execute(kWritesColumn);
  return mirror;
}

Status CalendarMirror::Failure(const std::string& doing) const {
  return CannotOpen("The calendar mirror failed while " + doing + ": " +
                    database_->LastError());
}

Result<std::optional<CalendarMirror::Calendar>> CalendarMirror::Find(
    const std::string& folder_url) {
  Result<std::optional<LocalStoreDatabase::FolderId>> folder =
      database_->FindFolder(WithSlash(folder_url));
  if (!folder.ok()) return folder.status();
  if (!*folder) return std::optional<Calendar>();
  if (!find_state_.ok()) {
    find_state_ = database_->Prepare(
        "SELECT sync_token, window_start, window_end, refreshed_at, failure, writes "
        "FROM mirror_state WHERE folder = ?1");
  }
  if (!find_state_.ok()) return Failure("reading a calendar's sync state");
  sqlite::Statement& read = find_state_;
  read.Reset().Bind(1, **folder);
  const int step = read.Step();
  if (step != sqlite::kRow) {
    read.Reset();
    if (step == sqlite::kDone) return std::optional<Calendar>();
    return Failure("reading a calendar's sync state");
  }
  Calendar calendar;
  calendar.folder = **folder;
  calendar.state.sync_token = read.Text(0);
  calendar.state.window_start = read.Int(1);
  calendar.state.window_end = read.Int(2);
  if (!read.IsNull(3)) calendar.state.refreshed_at = read.Int(3);
  calendar.state.failure = read.Text(4);
  calendar.state.writes = read.Int(5);
  read.Reset();  // a statement left on its row would hold the file's read snapshot
  return std::optional<Calendar>(std::move(calendar));
}

Result<std::map<std::string, std::string>> CalendarMirror::Etags(const std::string& folder_url) {
  std::map<std::string, std::string> etags;
  Result<std::optional<LocalStoreDatabase::FolderId>> folder =
      database_->FindFolder(WithSlash(folder_url));
  if (!folder.ok()) return folder.status();
  if (!*folder) return etags;
  sqlite::Statement read = database_->Prepare("SELECT displayname, etag FROM items WHERE folder = ?1");
  if (!read.ok()) return Failure("reading a calendar's etags");
  read.Bind(1, **folder);
  int step;
  while ((step = read.Step()) == sqlite::kRow) etags[read.Text(0)] = read.Text(1);
  if (step != sqlite::kDone) return Failure("reading a calendar's etags");
  return etags;
}

namespace {

// Puts one member into the calendar's folder, or removes it when it has no text or lies
// outside the window.
Status Store(LocalStoreDatabase& database, LocalStoreDatabase::FolderId folder,
             const std::string& base, const MirrorState& state, const MirrorItem& item) {
  if (item.ics.empty()) return database.Remove(folder, item.name).status();
  const auto not_icalendar = [&](const std::string& why) {
    return CannotOpen("The calendar store sent the item " + base + item.name +
                      ", which is not iCalendar: " + why);
  };
  Result<std::vector<CalendarItem>> parsed = ParseCalendar(item.ics);
  if (!parsed.ok()) return not_icalendar(parsed.status().description());
  if (parsed->size() != 1) return not_icalendar("it holds the events of more than one UID");
  Result<ItemSummary> summary = SummarizeItem(parsed->front().ics);
  if (!summary.ok()) return not_icalendar(summary.status().description());
  const bool inside = summary->span_start <= state.window_end &&
                      (!summary->span_end || *summary->span_end >= state.window_start);
  if (!inside) return database.Remove(folder, item.name).status();
  return database.Put(folder, item.name, parsed->front().ics, item.etag).status();
}

}  // namespace

Result<bool> CalendarMirror::Apply(const std::string& folder_url, const Changes& changes,
                                   std::int64_t writes_seen) {
  const std::string base = WithSlash(folder_url);
  Result<std::unique_ptr<StoreWrites>> transaction = database_->BeginWrites();
  if (!transaction.ok()) return Failure("bringing a calendar in step");
  Result<LocalStoreDatabase::FolderId> folder = database_->CreateMailbox(base);
  if (!folder.ok()) return folder.status();
  Result<std::int64_t> writes = WritesOf(*folder);
  if (!writes.ok()) return writes.status();
  if (*writes != writes_seen) return false;
  if (changes.full) {
    if (Result<int> removed = database_->RemoveByUidPrefix(*folder, ""); !removed.ok()) {
      return removed.status();
    }
  }
  for (const MirrorItem& item : changes.items) {
    if (Status stored = Store(*database_, *folder, base, changes.state, item); !stored.ok()) {
      return stored;
    }
  }
  sqlite::Statement write = database_->Prepare(
      "INSERT INTO mirror_state(folder, sync_token, window_start, window_end, refreshed_at, "
      "failure) VALUES (?1, ?2, ?3, ?4, ?5, '') ON CONFLICT(folder) DO UPDATE SET "
      "sync_token = ?2, window_start = ?3, window_end = ?4, refreshed_at = ?5, failure = ''");
  if (!write.ok()) return Failure("writing a calendar's sync state");
  write.Bind(1, *folder)
      .Bind(2, changes.state.sync_token)
      .Bind(3, changes.state.window_start)
      .Bind(4, changes.state.window_end);
  if (changes.state.refreshed_at) {
    write.Bind(5, *changes.state.refreshed_at);
  } else {
    write.BindNull(5);
  }
  if (write.Step() != sqlite::kDone || !(*transaction)->Commit().ok()) {
    return Failure("writing a calendar's sync state");
  }
  return true;
}

Result<std::int64_t> CalendarMirror::WritesOf(LocalStoreDatabase::FolderId folder) {
  sqlite::Statement read = database_->Prepare("SELECT writes FROM mirror_state WHERE folder = ?1");
  if (!read.ok()) return Failure("reading a calendar's writes");
  read.Bind(1, folder);
  const int step = read.Step();
  if (step == sqlite::kDone) return std::int64_t{0};
  if (step != sqlite::kRow) return Failure("reading a calendar's writes");
  return read.Int(0);
}

Status CalendarMirror::CountWrite(LocalStoreDatabase::FolderId folder) {
  sqlite::Statement write = database_->Prepare(
      "INSERT INTO mirror_state(folder, writes) VALUES (?1, 1) "
      "ON CONFLICT(folder) DO UPDATE SET writes = writes + 1");
  if (!write.ok()) return Failure("counting a write");
  write.Bind(1, folder);
  if (write.Step() != sqlite::kDone) return Failure("counting a write");
  return Status::Ok();
}

Status CalendarMirror::RecordFailure(const std::string& folder_url, const std::string& failure) {
  Result<LocalStoreDatabase::FolderId> folder = database_->CreateMailbox(WithSlash(folder_url));
  if (!folder.ok()) return folder.status();
  sqlite::Statement write = database_->Prepare(
      "INSERT INTO mirror_state(folder, failure) VALUES (?1, ?2) "
      "ON CONFLICT(folder) DO UPDATE SET failure = ?2");
  if (!write.ok()) return Failure("noting a failed refresh");
  // A failure is never empty, or the calendar would read as in step.
  write.Bind(1, *folder).Bind(2, failure.empty() ? std::string("unknown") : failure);
  if (write.Step() != sqlite::kDone) return Failure("noting a failed refresh");
  return Status::Ok();
}

Status CalendarMirror::BeginWrite(const std::string& folder_url) {
  Result<LocalStoreDatabase::FolderId> folder = database_->CreateMailbox(WithSlash(folder_url));
  if (!folder.ok()) return folder.status();
  return CountWrite(*folder);
}

Status CalendarMirror::EndWrite(const std::string& folder_url,
                                const std::optional<MirrorItem>& item) {
  Result<std::unique_ptr<StoreWrites>> transaction = database_->BeginWrites();
  if (!transaction.ok()) return Failure("writing an item");
  Result<std::optional<Calendar>> calendar = Find(folder_url);
  if (!calendar.ok()) return calendar.status();
  if (!*calendar) return Status::Ok();
  if (Status counted = CountWrite((*calendar)->folder); !counted.ok()) return counted;
  if (item) {
    if (Status stored = Store(*database_, (*calendar)->folder, WithSlash(folder_url),
                              (*calendar)->state, *item);
        !stored.ok()) {
      return stored;
    }
  }
  if (!(*transaction)->Commit().ok()) return Failure("writing an item");
  return Status::Ok();
}

}  // namespace orbitel::data
