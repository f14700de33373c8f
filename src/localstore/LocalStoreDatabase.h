#pragma once
// One mail domain's database of the local store ("<root>/<domain>/store.sqlite"): its
// mailboxes, their calendar folders and the items, with the statements the store runs prepared
// once per connection. Opening never creates a database file (only OpenOrCreate, for the store
// command, does) and changes one only to bring a store of the first version up to this one. Connections are cached per thread and per file,
// so a page's period queries reuse an open connection and its prepared statements. An object
// is used by one thread at a time.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ical/ICalendar.h"
#include "localstore/KeptReads.h"
#include "localstore/Sqlite.h"
#include "runtime/Status.h"
#include "store/StoreItem.h"
#include "store/StoreProvider.h"
#include "store/StoreTime.h"

namespace orbitel::data {

class LocalStoreDatabase {
 public:
  using FolderId = std::int64_t;

  static std::string PathOf(const std::string& store_root, const std::string& domain);
  // The domain's existing database; errors::kCannotOpenFolder when it is missing, is not a
  // store database or cannot be read (the file is left as it is).
  static Result<std::shared_ptr<LocalStoreDatabase>> Open(const std::string& store_root,
                                                          const std::string& domain);
  // The domain's database, created with its folder when missing.
  static Result<std::shared_ptr<LocalStoreDatabase>> OpenOrCreate(const std::string& store_root,
                                                                  const std::string& domain);

  ~LocalStoreDatabase();
  LocalStoreDatabase(const LocalStoreDatabase&) = delete;
  LocalStoreDatabase& operator=(const LocalStoreDatabase&) = delete;

  // For the store's tools that keep tables of their own in the same file (the CalDAV mirror's
  // sync state): a statement prepared on this connection (check ok()), statements run without
  // results (false when one fails), and the connection's last error.
  sqlite::Statement Prepare(std::string_view sql) const { return sqlite::Statement(db_.get(), sql); }
  bool Execute(const char* sql) const { return sqlite::Execute(db_.get(), sql); }
  std::string LastError() const { return sqlite::LastError(db_.get()); }
  // SQLite's check of the file: "ok", or what is damaged.
  Result<std::string> IntegrityVerdict() const { return sqlite::IntegrityVerdict(db_.get()); }

  // Begins writes that stand or fall together (StoreWrites), on this connection, which must
  // outlive them; errors::kCannotOpenFolder when another connection is writing and does not
  // finish within the busy timeout.
  Result<std::unique_ptr<StoreWrites>> BeginWrites();

  // How many writes of items and mailboxes the database has seen, whoever made them: a value
  // read again differs once anything was written. An error for a store of the first version
  // that could not be brought up to this one.
  Result<std::int64_t> ChangeCount();

  // The calendar folder of a mailbox (account ignoring case); nullopt when there is none.
  Result<std::optional<FolderId>> FindFolder(const std::string& account);
  // The mailbox with its calendar folder, created when missing.
  Result<FolderId> CreateMailbox(const std::string& account);

  // The period query's candidates: items not recurring with dtstart >= from and dtend <= until,
  // and the occurrences of recurring items overlapping [from, until]; hrefs under folder_url.
  // Without with_description, items not recurring leave textdescription empty: few queries
  // read it, and it is the one long text of the index. Items and names a reader does not need
  // (see ReadNeeds) are not read.
  Status Candidates(FolderId folder, UtcSeconds from, UtcSeconds until,
                    const std::string& folder_url, std::vector<StoreItem>& out,
                    bool with_description = true, const ReadNeeds& needs = {});

  // One read transaction for as long as it lives, unless one is open already: the reads in it
  // see one state of the file, under one set of file locks.
  class Reading {
   public:
    explicit Reading(LocalStoreDatabase& database);
    ~Reading();
    Reading(const Reading&) = delete;
    Reading& operator=(const Reading&) = delete;

    // The failure beginning it (the reads may still run, each in a transaction of its own).
    const Status& began() const { return began_; }
    // Ends it before its time; a failure to end it is returned (the connection then rolls back,
    // so later reads never see old data).
    Status End();

   private:
    LocalStoreDatabase& database_;
    bool own_ = false;
    Status began_ = Status::Ok();
  };

  Result<std::optional<ItemSource>> Read(FolderId folder, const std::string& name);
  bool Exists(FolderId folder, const std::string& name);
  // Adds an item (the name must be free); returns its tag.
  Result<std::string> Insert(FolderId folder, const std::string& name, const std::string& ics);
  // Adds the item or replaces the one of that name, whatever its tag (imports); the item gets
  // the tag given (a mirror keeps the calendar server's), else a fresh one.
  Result<std::string> Put(FolderId folder, const std::string& name, const std::string& ics,
                          const std::string& tag = "");
  // Replaces the item when its tag is etag; errors::kCannotOpenFolder when it is missing,
  // errors::kItemChanged when the tag differs.
  Result<std::string> Replace(FolderId folder, const std::string& name, const std::string& ics,
                              const std::string& etag);
  // False when there was no such item.
  Result<bool> Remove(FolderId folder, const std::string& name);
  // Removes the items whose UID starts with prefix; returns how many.
  Result<int> RemoveByUidPrefix(FolderId folder, const std::string& prefix);

  struct StoredItem {
    std::string name;
    std::string ics;
  };
  // Every item of the folder in start order.
  Result<std::vector<StoredItem>> All(FolderId folder);

 private:
  struct Statements;
  LocalStoreDatabase(sqlite::DatabaseHandle db, std::string path);
  static Result<std::shared_ptr<LocalStoreDatabase>> Connect(const std::string& path, bool create);
  Status Prepare();
  Result<std::string> Write(sqlite::Statement& statement, FolderId folder, const std::string& name,
                            const std::string& ics, const std::string* etag,
                            const std::string& new_tag = "");
  Status Failure(const std::string& doing) const;
  // The count of changes as a Reading's own transaction sees it (read once in it): committed
  // data alone, which no other content ever had at that count. nullopt outside such a read (a
  // writer's transaction may yet roll back) and for a store without a count.
  std::optional<std::int64_t> CommittedChanges();
  // The folder's recurring items whose span reaches [from, until], in start order: the kept ones
  // while the database has not changed since they were read.
  Result<std::shared_ptr<const FolderSeries>> SeriesOf(FolderId folder, UtcSeconds from, UtcSeconds until);
  // Candidates' two reads, in whatever transaction is open.
  Status ReadCandidates(FolderId folder, UtcSeconds from, UtcSeconds until,
                        const std::string& folder_url, std::vector<StoreItem>& out,
                        bool with_description, const ReadNeeds& needs);

  sqlite::DatabaseHandle db_;
  std::string path_;
  std::string file_;  // the path and the file's identity on disk, for the kept series
  bool in_own_read_ = false;  // a Reading began its own transaction and has not ended it
  std::optional<std::int64_t> read_changes_;  // the count of changes in that read
  std::unique_ptr<Statements> statements_;
  std::unique_ptr<sqlite::Statement> count_changes_;  // prepared on first use
};


}  // namespace orbitel::data
