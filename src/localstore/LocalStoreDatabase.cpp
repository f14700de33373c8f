#include "localstore/LocalStoreDatabase.h"

#include <sqlite3.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <limits>
#include <map>
#include <random>

#include "ical/ExpandedSeries.h"
#include "ical/ItemOccurrences.h"
#include "runtime/ErrorNumbers.h"
#include "runtime/TextCoding.h"

namespace orbitel::data {
namespace {

constexpr int kSchemaVersion = 2;

// mailboxes: one per account of the domain; folders: the mailbox's calendar; items: one per
// stored .ics with the properties the period query reads. Times are UTC seconds. The period
// query for one folder is a range scan of items_period (recurring = 0, dtstart between the
// bounds) that never visits the table: the index carries every property a candidate needs, so
// the large .ics texts stay out of the scan. Recurring masters are the (folder, recurring = 1)
// prefix of the same index, checked against their span and then read with their .ics.
constexpr const char* kSchema = R"sql(
CREATE TABLE mailboxes(
  id INTEGER PRIMARY KEY,
  account TEXT NOT NULL UNIQUE COLLATE NOCASE);
CREATE TABLE folders(
  id INTEGER PRIMARY KEY,
  mailbox INTEGER NOT NULL REFERENCES mailboxes(id) ON DELETE CASCADE,
  name TEXT NOT NULL,
  UNIQUE(mailbox, name));
CREATE TABLE items(
  id INTEGER PRIMARY KEY,
  folder INTEGER NOT NULL REFERENCES folders(id) ON DELETE CASCADE,
  displayname TEXT NOT NULL,
  uid TEXT NOT NULL,
  subject TEXT NOT NULL,
  location TEXT NOT NULL,
  dtstart INTEGER NOT NULL,
  dtend INTEGER NOT NULL,
  alldayevent INTEGER NOT NULL,
  busystatus TEXT NOT NULL,
  sensitivity INTEGER NOT NULL,
  textdescription TEXT NOT NULL,
  recurring INTEGER NOT NULL,
  span_start INTEGER NOT NULL,
  span_end INTEGER,
  ics TEXT NOT NULL,
  etag TEXT NOT NULL,
  UNIQUE(folder, displayname));
CREATE INDEX items_period ON items(folder, recurring, dtstart, dtend, alldayevent, busystatus,
  sensitivity, displayname, uid, subject, location, textdescription);
)sql";

// Version 2: the count of changes, bumped by every write of an item or a mailbox whoever makes
// it (a page, the store command in another process), so a page kept by the server is known to
// be out of date on the very next request.
constexpr const char* kChangesSchema = R"sql(
CREATE TABLE changes(id INTEGER PRIMARY KEY CHECK (id = 1), count INTEGER NOT NULL);
INSERT INTO changes VALUES (1, 0);
CREATE TRIGGER items_added AFTER INSERT ON items BEGIN UPDATE changes SET count = count + 1; END;
CREATE TRIGGER items_changed AFTER UPDATE ON items BEGIN UPDATE changes SET count = count + 1; END;
CREATE TRIGGER items_removed AFTER DELETE ON items BEGIN UPDATE changes SET count = count + 1; END;
CREATE TRIGGER mailboxes_added AFTER INSERT ON mailboxes BEGIN UPDATE changes SET count = count + 1; END;
CREATE TRIGGER mailboxes_removed AFTER DELETE ON mailboxes BEGIN UPDATE changes SET count = count + 1; END;
CREATE TRIGGER folders_added AFTER INSERT ON folders BEGIN UPDATE changes SET count = count + 1; END;
CREATE TRIGGER folders_removed AFTER DELETE ON folders BEGIN UPDATE changes SET count = count + 1; END;
)sql";


Status CannotOpen(const std::string& description) {
  return Status::Error(errors::kCannotOpenFolder, description);
}

std::string NewTag() {
  thread_local std::mt19937_64 generator{std::random_device{}()};
  const std::uint64_t bits = generator();
  return HexText({reinterpret_cast<const char*>(&bits), sizeof bits});
}

// An occurrence as a reader that never reads names needs it: its names are not copied.
StoreItem WithoutNames(const StoreItem& occurrence) {
  StoreItem item;
  item.subject = occurrence.subject;
  item.location = occurrence.location;
  item.dtstart = occurrence.dtstart;
  item.dtend = occurrence.dtend;
  item.alldayevent = occurrence.alldayevent;
  item.busystatus = occurrence.busystatus;
  item.sensitivity = occurrence.sensitivity;
  item.textdescription = occurrence.textdescription;
  item.recurrenceid = occurrence.recurrenceid;
  return item;
}

struct FileIdentity {
  dev_t device;
  ino_t inode;
  bool operator==(const FileIdentity&) const = default;
};

std::optional<FileIdentity> IdentityOf(const std::string& path) {
  struct stat info {};
  if (::stat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) return std::nullopt;
  return FileIdentity{info.st_dev, info.st_ino};
}

// This thread's open connections by file; a file replaced since (another inode) is reopened.
struct CachedConnection {
  FileIdentity identity;
  std::shared_ptr<LocalStoreDatabase> database;
};
std::map<std::string, CachedConnection>& ThreadCache() {
  thread_local std::map<std::string, CachedConnection> cache;
  return cache;
}

}  // namespace

struct LocalStoreDatabase::Statements {
  explicit Statements(sqlite3* db)
      : find_folder(db,
                    "SELECT folders.id FROM mailboxes JOIN folders ON folders.mailbox = mailboxes.id "
                    "WHERE mailboxes.account = ?1 AND folders.name = 'calendar'"),
        // ?4 and ?5 narrow the period to what a reader needs: the last start and the first end
        // it has any use for.
        single(db,
               "SELECT displayname, uid, subject, location, dtstart, dtend, alldayevent, "
               "busystatus, sensitivity, textdescription FROM items "
               "WHERE folder = ?1 AND recurring = 0 AND dtstart >= ?2 AND dtstart <= ?4 "
               "AND dtend <= ?3 AND dtend >= ?5 ORDER BY dtstart"),
        single_brief(db,
                     "SELECT displayname, uid, subject, location, dtstart, dtend, alldayevent, "
                     "busystatus, sensitivity FROM items "
                     "WHERE folder = ?1 AND recurring = 0 AND dtstart >= ?2 AND dtstart <= ?4 "
                     "AND dtend <= ?3 AND dtend >= ?5 ORDER BY dtstart"),
        recurring(db,
                  "SELECT displayname, ics, span_start, span_end FROM items WHERE folder = ?1 "
                  "AND recurring = 1 AND span_start <= ?3 AND (span_end IS NULL OR span_end >= ?2) "
                  "ORDER BY dtstart"),
        read(db, "SELECT ics, etag FROM items WHERE folder = ?1 AND displayname = ?2"),
        insert(db,
               "INSERT INTO items(folder, displayname, uid, subject, location, dtstart, dtend, "
               "alldayevent, busystatus, sensitivity, textdescription, recurring, span_start, "
               "span_end, ics, etag) VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12, "
               "?13, ?14, ?15, ?16)"),
        put(db,
            "INSERT INTO items(folder, displayname, uid, subject, location, dtstart, dtend, "
            "alldayevent, busystatus, sensitivity, textdescription, recurring, span_start, "
            "span_end, ics, etag) VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12, "
            "?13, ?14, ?15, ?16) ON CONFLICT(folder, displayname) DO UPDATE SET uid = ?3, "
            "subject = ?4, location = ?5, dtstart = ?6, dtend = ?7, alldayevent = ?8, "
            "busystatus = ?9, sensitivity = ?10, textdescription = ?11, recurring = ?12, "
            "span_start = ?13, span_end = ?14, ics = ?15, etag = ?16"),
        replace(db,
                "UPDATE items SET uid = ?3, subject = ?4, location = ?5, dtstart = ?6, "
                "dtend = ?7, alldayevent = ?8, busystatus = ?9, sensitivity = ?10, "
                "textdescription = ?11, recurring = ?12, span_start = ?13, span_end = ?14, "
                "ics = ?15, etag = ?16 WHERE folder = ?1 AND displayname = ?2 AND etag = ?17"),
        remove(db, "DELETE FROM items WHERE folder = ?1 AND displayname = ?2"),
        remove_prefix(db, "DELETE FROM items WHERE folder = ?1 AND substr(uid, 1, length(?2)) = ?2"),
        all(db, "SELECT displayname, ics FROM items WHERE folder = ?1 ORDER BY span_start, displayname"),
        begin_read(db, "BEGIN"),
        end_read(db, "COMMIT") {}

  bool ok() const {
    return find_folder.ok() && single.ok() && single_brief.ok() && recurring.ok() && read.ok() &&
           insert.ok() && put.ok() && replace.ok() && remove.ok() && remove_prefix.ok() && all.ok() &&
           begin_read.ok() && end_read.ok();
  }

  sqlite::Statement find_folder, single, single_brief, recurring, read, insert, put, replace,
      remove, remove_prefix, all;
  // The candidates' two reads share one read transaction: one set of file locks rather than
  // two, and both see the same state of the file.
  sqlite::Statement begin_read, end_read;
};

LocalStoreDatabase::LocalStoreDatabase(sqlite::DatabaseHandle db, std::string path)
    : db_(std::move(db)), path_(std::move(path)) {}

LocalStoreDatabase::~LocalStoreDatabase() {
  count_changes_.reset();
  statements_.reset();  // statements are finalized before their connection closes
}

std::string LocalStoreDatabase::PathOf(const std::string& store_root, const std::string& domain) {
  return (std::filesystem::path(store_root) / domain / "store.sqlite").string();
}

Status LocalStoreDatabase::Failure(const std::string& doing) const {
  return CannotOpen("The store database " + path_ + " failed while " + doing + ": " +
                    sqlite3_errmsg(db_.get()));
}

Status LocalStoreDatabase::Prepare() {
  statements_ = std::make_unique<Statements>(db_.get());
  if (!statements_->ok()) return Failure("preparing its statements");
  return Status::Ok();
}

Result<std::shared_ptr<LocalStoreDatabase>> LocalStoreDatabase::Connect(const std::string& path,
                                                                        bool create) {
  sqlite3* raw = nullptr;
  const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | (create ? SQLITE_OPEN_CREATE : 0);
  const int opened = sqlite3_open_v2(path.c_str(), &raw, flags, nullptr);
  sqlite::DatabaseHandle db(raw);
  if (opened != SQLITE_OK) {
    return CannotOpen("The store database " + path + " cannot be opened: " +
                      (raw != nullptr ? sqlite3_errmsg(raw) : sqlite3_errstr(opened)));
  }
  sqlite3_busy_timeout(db.get(), 5000);
  sqlite::Execute(db.get(), "PRAGMA foreign_keys = ON");
  // Every request thread holds a connection of its own: a small page cache each and no
  // lookaside buffers, as the system's file cache already holds the database once for all.
  sqlite3_db_config(db.get(), SQLITE_DBCONFIG_LOOKASIDE, nullptr, 0, 0);
  sqlite::Execute(db.get(), "PRAGMA cache_size = -128");

  // Reading the schema version reads the file's header: a file that is not a database fails
  // here, before anything could be written to it.
  int version = -1;
  {
    sqlite::Statement check(db.get(), "PRAGMA user_version");
    if (!check.ok() || check.Step() != SQLITE_ROW) {
      return CannotOpen("The store database " + path + " cannot be read: " +
                        sqlite3_errmsg(db.get()));
    }
    version = static_cast<int>(check.Int(0));
  }
  if (version == 0 && create) {
    sqlite::Transaction transaction(db.get());
    // WAL lets the pages read while the store command writes.
    if (!sqlite::Execute(db.get(), kSchema) || !sqlite::Execute(db.get(), kChangesSchema) ||
        !sqlite::Execute(db.get(), ("PRAGMA user_version = " + std::to_string(kSchemaVersion)).c_str()) ||
        !transaction.Commit() || !sqlite::Execute(db.get(), "PRAGMA journal_mode = WAL")) {
      return CannotOpen("The store database " + path + " cannot be created: " +
                        sqlite3_errmsg(db.get()));
    }
    version = kSchemaVersion;
  }
  if (version == 1) {
    // A store of the first version gets its count of changes; one that cannot be written stays
    // as it is and is read as before.
    sqlite::Transaction transaction(db.get());
    if (sqlite::Execute(db.get(), kChangesSchema) &&
        sqlite::Execute(db.get(), ("PRAGMA user_version = " + std::to_string(kSchemaVersion)).c_str()) &&
        transaction.Commit()) {
      version = kSchemaVersion;
    }
  }
  if (version != kSchemaVersion && version != 1) {
    return CannotOpen("The file " + path + " is not a store database of this version");
  }
  std::shared_ptr<LocalStoreDatabase> database(new LocalStoreDatabase(std::move(db), path));
  if (Status prepared = database->Prepare(); !prepared.ok()) return prepared;
  if (const auto identity = IdentityOf(path)) {
    database->file_ = path + '|' + std::to_string(identity->device) + ':' + std::to_string(identity->inode);
  }
  return database;
}

Result<std::shared_ptr<LocalStoreDatabase>> LocalStoreDatabase::Open(const std::string& store_root,
                                                                     const std::string& domain) {
  const std::string path = PathOf(store_root, domain);
  const auto identity = IdentityOf(path);
  auto& cache = ThreadCache();
  if (!identity) {
    cache.erase(path);
    return CannotOpen("The store has no database for the domain " + domain + " (" + path + ")");
  }
  if (auto found = cache.find(path); found != cache.end() && found->second.identity == *identity) {
    return found->second.database;
  }
  Result<std::shared_ptr<LocalStoreDatabase>> database = Connect(path, false);
  if (!database.ok()) return database;
  cache[path] = CachedConnection{*identity, *database};
  return database;
}

Result<std::shared_ptr<LocalStoreDatabase>> LocalStoreDatabase::OpenOrCreate(
    const std::string& store_root, const std::string& domain) {
  const std::string path = PathOf(store_root, domain);
  std::error_code error;
  std::filesystem::create_directories(std::filesystem::path(path).parent_path(), error);
  if (error) {
    return CannotOpen("The store folder for the domain " + domain + " cannot be created: " +
                      error.message());
  }
  ThreadCache().erase(path);
  return Connect(path, true);
}

Result<std::int64_t> LocalStoreDatabase::ChangeCount() {
  if (!count_changes_) count_changes_ = std::make_unique<sqlite::Statement>(db_.get(), "SELECT count FROM changes");
  sqlite::Statement& count = *count_changes_;
  if (!count.ok()) return Failure("counting its changes");
  const int step = count.Reset().Step();
  const std::int64_t changes = step == SQLITE_ROW ? count.Int(0) : 0;
  count.Reset();
  if (step != SQLITE_ROW) return Failure("counting its changes");
  return changes;
}

Result<std::optional<LocalStoreDatabase::FolderId>> LocalStoreDatabase::FindFolder(
    const std::string& account) {
  // In a read of its own, a folder found before holds while nothing was written since.
  const std::optional<std::int64_t> changes = file_.empty() ? std::nullopt : CommittedChanges();
  if (changes) {
    if (const std::optional<FolderId> kept = FindKeptFolder(file_, *changes, account)) return kept;
  }
  sqlite::Statement& find = statements_->find_folder;
  find.Reset().Bind(1, account);
  const int step = find.Step();
  std::optional<FolderId> folder;
  if (step == SQLITE_ROW) folder = find.Int(0);
  find.Reset();
  if (step != SQLITE_ROW && step != SQLITE_DONE) return Failure("looking up a mailbox");
  if (changes && folder) KeepFolder(file_, *changes, account, *folder);
  return folder;
}

Result<LocalStoreDatabase::FolderId> LocalStoreDatabase::CreateMailbox(const std::string& account) {
  sqlite::Statement add_mailbox(db_.get(), "INSERT OR IGNORE INTO mailboxes(account) VALUES (?1)");
  sqlite::Statement add_folder(
      db_.get(),
      "INSERT OR IGNORE INTO folders(mailbox, name) "
      "SELECT id, 'calendar' FROM mailboxes WHERE account = ?1");
  if (!add_mailbox.ok() || !add_folder.ok()) return Failure("adding a mailbox");
  add_mailbox.Bind(1, account);
  add_folder.Bind(1, account);
  if (add_mailbox.Step() != SQLITE_DONE || add_folder.Step() != SQLITE_DONE) {
    return Failure("adding a mailbox");
  }
  Result<std::optional<FolderId>> folder = FindFolder(account);
  if (!folder.ok()) return folder.status();
  if (!*folder) return Failure("adding a mailbox");
  return **folder;
}

LocalStoreDatabase::Reading::Reading(LocalStoreDatabase& database) : database_(database) {
  if (sqlite3_get_autocommit(database_.db_.get()) == 0) return;  // the caller's transaction
  sqlite::Statement& begin = database_.statements_->begin_read;
  const int began = begin.Reset().Step();
  begin.Reset();
  if (began == SQLITE_DONE) {
    own_ = true;
    database_.in_own_read_ = true;
    database_.read_changes_.reset();
  } else {
    began_ = database_.Failure("beginning a read");
  }
}

LocalStoreDatabase::Reading::~Reading() { (void)End(); }

Status LocalStoreDatabase::Reading::End() {
  if (!own_) return Status::Ok();
  own_ = false;
  database_.in_own_read_ = false;
  database_.read_changes_.reset();
  // A read-only transaction has nothing to write back; ending it only releases its locks.
  sqlite::Statement& end = database_.statements_->end_read;
  const int ended = end.Reset().Step();
  end.Reset();
  if (ended == SQLITE_DONE) return Status::Ok();
  // Never leave the connection inside the transaction: later reads would see old data.
  Status failed = database_.Failure("ending a read");
  sqlite::Execute(database_.db_.get(), "ROLLBACK");
  return failed;
}

Status LocalStoreDatabase::Candidates(FolderId folder, UtcSeconds from, UtcSeconds until,
                                      const std::string& folder_url, std::vector<StoreItem>& out,
                                      bool with_description, const ReadNeeds& needs) {
  // Outside a transaction of the caller's, the two reads below share one of their own.
  Reading reading(*this);
  if (!reading.began().ok()) return Failure("reading the period's items");
  Status read = ReadCandidates(folder, from, until, folder_url, out, with_description, needs);
  Status ended = reading.End();
  return read.ok() ? ended : read;
}

Status LocalStoreDatabase::ReadCandidates(FolderId folder, UtcSeconds from, UtcSeconds until,
                                          const std::string& folder_url,
                                          std::vector<StoreItem>& out, bool with_description,
                                          const ReadNeeds& needs) {
  out.reserve(out.size() + 512);  // a month of a busy mailbox without regrowing
  sqlite::Statement& single = with_description ? statements_->single : statements_->single_brief;
  // An item starting at or after the reader's span is of no use: the last start is the second
  // before it (the store's times are whole seconds).
  const UtcSeconds last_start =
      needs.until == std::numeric_limits<UtcSeconds>::min() ? needs.until : std::min(until, needs.until - 1);
  single.Reset().Bind(1, folder).Bind(2, from).Bind(3, until).Bind(4, last_start).Bind(5, needs.from);
  int step;
  while ((step = single.Step()) == SQLITE_ROW) {
    StoreItem& item = out.emplace_back();
    if (needs.names) {
      item.displayname = single.Text(0);
      // One allocation: folder_url + name would copy the URL and then grow it for the name.
      item.href.reserve(folder_url.size() + item.displayname.size());
      item.href.append(folder_url).append(item.displayname);
      item.uid = single.Text(1);
    }
    item.subject = single.Text(2);
    item.location = single.Text(3);
    item.dtstart = DateOfUtc(single.Int(4));
    item.dtend = DateOfUtc(single.Int(5));
    item.alldayevent = single.Int(6) != 0;
    item.busystatus = single.Text(7);
    item.sensitivity = static_cast<int>(single.Int(8));
    if (with_description) item.textdescription = single.Text(9);
  }
  single.Reset();
  if (step != SQLITE_DONE) return Failure("reading the period's items");

  Result<std::shared_ptr<const FolderSeries>> series = SeriesOf(folder, from, until);
  if (!series.ok()) return series.status();
  for (const SeriesItem& master : **series) {
    if (master.span_start > until || (master.span_end && *master.span_end < from)) continue;
    Result<std::shared_ptr<const std::vector<StoreItem>>> occurrences = ExpandSeries(master.ics, from, until);
    if (!occurrences.ok()) continue;  // stored items were parsed when written
    for (const StoreItem& occurrence : **occurrences) {
      if (UtcOfDate(occurrence.dtend) < needs.from || UtcOfDate(occurrence.dtstart) >= needs.until) continue;
      if (needs.names) {
        StoreItem& item = out.emplace_back(occurrence);
        item.displayname = master.name;
        item.href = folder_url + master.name;
      } else {
        out.push_back(WithoutNames(occurrence));
      }
    }
  }
  return Status::Ok();
}

std::optional<std::int64_t> LocalStoreDatabase::CommittedChanges() {
  if (!in_own_read_) return std::nullopt;
  if (!read_changes_) {
    Result<std::int64_t> changes = ChangeCount();
    if (!changes.ok()) return std::nullopt;
    read_changes_ = *changes;
  }
  return read_changes_;
}

Result<std::shared_ptr<const FolderSeries>> LocalStoreDatabase::SeriesOf(FolderId folder, UtcSeconds from,
                                                                         UtcSeconds until) {
  const std::optional<std::int64_t> changes = file_.empty() ? std::nullopt : CommittedChanges();
  if (changes) {
    if (auto kept = FindKeptSeries(file_, folder, *changes)) return kept;
    // All of the folder's series are read to be kept, whatever period this query asks for.
    from = std::numeric_limits<UtcSeconds>::min();
    until = std::numeric_limits<UtcSeconds>::max();
  }
  sqlite::Statement& recurring = statements_->recurring;
  recurring.Reset().Bind(1, folder).Bind(2, from).Bind(3, until);
  auto series = std::make_shared<FolderSeries>();
  int step;
  while ((step = recurring.Step()) == SQLITE_ROW) {
    SeriesItem& item = series->emplace_back();
    item.name = recurring.Text(0);
    item.ics = recurring.Text(1);
    item.span_start = recurring.Int(2);
    if (!recurring.IsNull(3)) item.span_end = recurring.Int(3);
  }
  recurring.Reset();
  if (step != SQLITE_DONE) return Failure("reading the recurring items");
  if (changes) KeepSeries(file_, folder, *changes, series);
  return std::shared_ptr<const FolderSeries>(std::move(series));
}

Result<std::optional<ItemSource>> LocalStoreDatabase::Read(FolderId folder, const std::string& name) {
  sqlite::Statement& read = statements_->read;
  read.Reset().Bind(1, folder).Bind(2, name);
  const int step = read.Step();
  std::optional<ItemSource> source;
  if (step == SQLITE_ROW) source = ItemSource{std::string(), read.Text(0), read.Text(1)};
  read.Reset();
  if (step != SQLITE_ROW && step != SQLITE_DONE) return Failure("reading an item");
  return source;
}

bool LocalStoreDatabase::Exists(FolderId folder, const std::string& name) {
  Result<std::optional<ItemSource>> found = Read(folder, name);
  return found.ok() && found->has_value();
}

Result<std::string> LocalStoreDatabase::Write(sqlite::Statement& statement, FolderId folder,
                                              const std::string& name, const std::string& ics,
                                              const std::string* etag, const std::string& new_tag) {
  Result<ItemSummary> summary = SummarizeItem(ics);
  if (!summary.ok()) return summary.status();
  const StoreItem& master = summary->master;
  const std::string tag = new_tag.empty() ? NewTag() : new_tag;
  statement.Reset()
      .Bind(1, folder)
      .Bind(2, name)
      .Bind(3, master.uid)
      .Bind(4, master.subject)
      .Bind(5, master.location)
      .Bind(6, UtcOfDate(master.dtstart))
      .Bind(7, UtcOfDate(master.dtend))
      .Bind(8, std::int64_t{master.alldayevent})
      .Bind(9, master.busystatus)
      .Bind(10, std::int64_t{master.sensitivity})
      .Bind(11, master.textdescription)
      .Bind(12, std::int64_t{summary->recurring})
      .Bind(13, summary->span_start);
  if (summary->span_end) {
    statement.Bind(14, *summary->span_end);
  } else {
    statement.BindNull(14);
  }
  statement.Bind(15, ics).Bind(16, tag);
  if (etag != nullptr) statement.Bind(17, *etag);
  const int step = statement.Step();
  statement.Reset();
  if (step != SQLITE_DONE) return Failure("writing an item");
  return tag;
}

namespace {

class DatabaseWrites final : public StoreWrites {
 public:
  explicit DatabaseWrites(sqlite3* db) : transaction_(db) {}
  bool began() const { return transaction_.began(); }
  Status Commit() override {
    if (transaction_.Commit()) return Status::Ok();
    return CannotOpen("The store's writes could not be committed");
  }

 private:
  sqlite::Transaction transaction_;
};

}  // namespace

Result<std::unique_ptr<StoreWrites>> LocalStoreDatabase::BeginWrites() {
  auto writes = std::make_unique<DatabaseWrites>(db_.get());
  if (!writes->began()) return CannotOpen("The store database " + path_ + " is busy");
  return std::unique_ptr<StoreWrites>(std::move(writes));
}

Result<std::string> LocalStoreDatabase::Insert(FolderId folder, const std::string& name,
                                               const std::string& ics) {
  return Write(statements_->insert, folder, name, ics, nullptr);
}

Result<std::string> LocalStoreDatabase::Put(FolderId folder, const std::string& name,
                                            const std::string& ics, const std::string& tag) {
  return Write(statements_->put, folder, name, ics, nullptr, tag);
}

Result<std::string> LocalStoreDatabase::Replace(FolderId folder, const std::string& name,
                                                const std::string& ics, const std::string& etag) {
  Result<std::string> tag = Write(statements_->replace, folder, name, ics, &etag);
  if (!tag.ok()) return tag;
  if (sqlite3_changes(db_.get()) == 1) return tag;
  if (!Exists(folder, name)) return CannotOpen("The item " + name + " is not in the folder");
  return Status::Error(errors::kItemChanged, "The item " + name +
                                         " was changed by someone else since it was opened; "
                                         "open it again to see the changes");
}

Result<bool> LocalStoreDatabase::Remove(FolderId folder, const std::string& name) {
  sqlite::Statement& remove = statements_->remove;
  remove.Reset().Bind(1, folder).Bind(2, name);
  const int step = remove.Step();
  remove.Reset();
  if (step != SQLITE_DONE) return Failure("removing an item");
  return sqlite3_changes(db_.get()) > 0;
}

Result<int> LocalStoreDatabase::RemoveByUidPrefix(FolderId folder, const std::string& prefix) {
  sqlite::Statement& remove = statements_->remove_prefix;
  remove.Reset().Bind(1, folder).Bind(2, prefix);
  const int step = remove.Step();
  remove.Reset();
  if (step != SQLITE_DONE) return Failure("removing items");
  return sqlite3_changes(db_.get());
}

Result<std::vector<LocalStoreDatabase::StoredItem>> LocalStoreDatabase::All(FolderId folder) {
  sqlite::Statement& all = statements_->all;
  all.Reset().Bind(1, folder);
  std::vector<StoredItem> items;
  int step;
  while ((step = all.Step()) == SQLITE_ROW) items.push_back(StoredItem{all.Text(0), all.Text(1)});
  all.Reset();
  if (step != SQLITE_DONE) return Failure("reading the folder");
  return items;
}

}  // namespace orbitel::data
