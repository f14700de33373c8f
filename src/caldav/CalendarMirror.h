#pragma once
// The mirror of a site's CalDAV calendars in the embedded store: one database of the local
// store's form under the site's store root ("<root>/.caldav-mirror/store.sqlite"; a domain no
// store URL can name), a mailbox per calendar named by its folder URL, the items as the server
// last sent them with the server's etags, and beside them each calendar's sync state: its sync
// token, the date window the mirror holds of it, when it was last brought in step and why its
// last refresh failed, if it did.
//
// Pages read it (Find, then the database's period query); the refresher writes it, one
// calendar's changes in one transaction, so a page sees a calendar either before or after a
// refresh, never half-way. An object is used by one thread at a time.

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "localstore/LocalStoreDatabase.h"
#include "localstore/Sqlite.h"
#include "runtime/Status.h"
#include "store/StoreTime.h"

namespace orbitel::data {

struct MirrorState {
  std::string sync_token;  // empty: none yet, or the server offers no sync-collection
  // The period the mirror holds: every item overlapping it, no other.
  UtcSeconds window_start = 0;
  UtcSeconds window_end = 0;
  std::optional<UtcSeconds> refreshed_at;  // the last time it was brought in step
  std::string failure;                     // why the last refresh failed; empty when it did not
  // Counts every write through Orbitel as it begins and as it ends: a refresh whose answers
  // came while the count moved may hold an item as it was before the write.
  std::int64_t writes = 0;

  // Whether pages may read the mirror rather than the server.
  bool usable() const { return refreshed_at.has_value() && failure.empty(); }
};

// One member of a calendar as the server sent it: its file name, etag and iCalendar text.
struct MirrorItem {
  std::string name;
  std::string etag;
  std::string ics;
};

class CalendarMirror {
 public:
  // The mirror database under the store root: Open finds an existing one (nullptr when there is
  // none yet) through the calling thread's cached connection, and keeps the object for the
  // thread's next call (a page looks up every included person's calendar); OpenOrCreate makes
  // it when missing, on a connection of its own.
  static Result<std::shared_ptr<CalendarMirror>> Open(const std::string& store_root);
  static Result<std::shared_ptr<CalendarMirror>> OpenOrCreate(const std::string& store_root);
  // The mirror's folder under the store root.
  static std::filesystem::path FolderOf(const std::string& store_root);

  LocalStoreDatabase& database() { return *database_; }

  // The calendar's folder in the mirror and its state; nullopt when it was never refreshed.
  struct Calendar {
    LocalStoreDatabase::FolderId folder = 0;
    MirrorState state;
  };
  Result<std::optional<Calendar>> Find(const std::string& folder_url);

  // The etags the mirror holds of the calendar's members, by file name.
  Result<std::map<std::string, std::string>> Etags(const std::string& folder_url);

  // What one refresh learnt of a calendar: the members changed (put, or removed when their text
  // is empty) and the state it is in afterwards. A full read replaces every member.
  struct Changes {
    bool full = false;
    std::vector<MirrorItem> items;
    MirrorState state;
  };
  // Writes the changes in one transaction; a member that is not one valid iCalendar item fails
  // the whole refresh (errors::kCannotOpenFolder naming it) and leaves the calendar as it was.
  // Members outside the state's window are dropped. False, and nothing written, when the
  // calendar's count of writes is no longer writes_seen (the count when the refresh began): a
  // write through Orbitel came meanwhile, whose item the answers may predate, and the next
  // refresh brings the calendar in step instead.
  Result<bool> Apply(const std::string& folder_url, const Changes& changes,
                     std::int64_t writes_seen);
  // Keeps the calendar's items and token, and notes why its refresh failed.
  Status RecordFailure(const std::string& folder_url, const std::string& failure);

  // A write through Orbitel to the calendar's server is about to begin: counted, the calendar
  // entered (not in step) when the mirror does not know it yet.
  Status BeginWrite(const std::string& folder_url);
  // A write through Orbitel has ended: counted, and the server's copy of its item put at once
  // (an empty text removes the member; none when the write failed).
  Status EndWrite(const std::string& folder_url, const std::optional<MirrorItem>& item);

 private:
  explicit CalendarMirror(std::shared_ptr<LocalStoreDatabase> database)
      : database_(std::move(database)) {}
  Status Failure(const std::string& doing) const;
  Result<std::int64_t> WritesOf(LocalStoreDatabase::FolderId folder);
  Status CountWrite(LocalStoreDatabase::FolderId folder);

  std::shared_ptr<LocalStoreDatabase> database_;
  sqlite::Statement find_state_;  // prepared at the first Find
};

}  // namespace orbitel::data
