#include "localstore/StoreBackup.h"

#include <sqlite3.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <thread>
#include <vector>

#include "localstore/LocalStoreDatabase.h"
#include "localstore/Sqlite.h"
#include "runtime/ErrorNumbers.h"

namespace orbitel::data {
namespace {

namespace fs = std::filesystem;

constexpr const char* kDatabaseName = "store.sqlite";
// How long a copy waits for a writer holding the database, before it gives up.
constexpr auto kBusyPatience = std::chrono::seconds(30);

Status Failed(const std::string& what) { return Status::Error(errors::kPathNotFound, what); }

// The domains with a database under a store root, in name order.
Result<std::vector<std::string>> DomainsUnder(const std::string& root) {
  std::error_code error;
  if (!fs::is_directory(root, error)) return Failed("The store folder " + root + " does not exist");
  std::vector<std::string> domains;
  for (const auto& entry : fs::directory_iterator(root, error)) {
    if (fs::is_regular_file(entry.path() / kDatabaseName)) domains.push_back(entry.path().filename().string());
  }
  if (error) return Failed("The store folder " + root + " cannot be read: " + error.message());
  std::sort(domains.begin(), domains.end());
  return domains;
}

Result<sqlite::DatabaseHandle> Connect(const std::string& path, int flags) {
  sqlite3* raw = nullptr;
  const int opened = sqlite3_open_v2(path.c_str(), &raw, flags | SQLITE_OPEN_NOMUTEX, nullptr);
  sqlite::DatabaseHandle db(raw);
  if (opened != SQLITE_OK) {
    return Failed("The database " + path + " cannot be opened: " +
                  (raw != nullptr ? sqlite3_errmsg(raw) : sqlite3_errstr(opened)));
  }
  sqlite3_busy_timeout(db.get(), 5000);
  return db;
}

// Copies the whole of `from` into `to` in one step, so the copy is one moment's database.
Status Copy(sqlite3* from, sqlite3* to, const std::string& what) {
  sqlite3_backup* backup = sqlite3_backup_init(to, "main", from, "main");
  if (backup == nullptr) return Failed(what + ": " + sqlite3_errmsg(to));
  const auto deadline = std::chrono::steady_clock::now() + kBusyPatience;
  int step = sqlite3_backup_step(backup, -1);
  while ((step == SQLITE_BUSY || step == SQLITE_LOCKED) && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    step = sqlite3_backup_step(backup, -1);
  }
  sqlite3_backup_finish(backup);
  if (step != SQLITE_DONE) return Failed(what + ": " + sqlite3_errstr(step));
  return Status::Ok();
}

Status CheckIntegrity(const Result<std::string>& verdict, const std::string& path) {
  if (!verdict.ok()) return Failed("The database " + path + " cannot be checked: " + verdict.status().description());
  if (*verdict != "ok") return Failed("The database " + path + " is damaged: " + *verdict);
  return Status::Ok();
}

}  // namespace

Status BackUpStore(const std::string& store_root, const std::string& destination, const BackupProgress& done) {
  auto domains = DomainsUnder(store_root);
  if (!domains.ok()) return domains.status();
  std::error_code error;
  if (fs::exists(destination, error) && !fs::is_empty(destination, error)) {
    return Failed("The backup folder " + destination + " is not empty; give a new folder");
  }
  for (const std::string& domain : *domains) {
    const std::string from_path = LocalStoreDatabase::PathOf(store_root, domain);
    const std::string to_path = LocalStoreDatabase::PathOf(destination, domain);
    const std::string part_path = to_path + ".part";
    fs::create_directories(fs::path(to_path).parent_path(), error);
    if (error) return Failed("The backup folder " + destination + " cannot be made: " + error.message());
    auto from = Connect(from_path, SQLITE_OPEN_READONLY);
    if (!from.ok()) return from.status();
    {
      auto opened = Connect(part_path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
      if (!opened.ok()) return opened.status();
      sqlite::DatabaseHandle to = std::move(opened).value();
      Status copied = Copy(from->get(), to.get(), "Backing up " + from_path + " failed");
      if (copied.ok()) copied = CheckIntegrity(sqlite::IntegrityVerdict(to.get()), part_path);
      if (!copied.ok()) {
        to.reset();
        fs::remove(part_path, error);
        return copied;
      }
    }
    fs::rename(part_path, to_path, error);
    if (error) return Failed("The backup " + to_path + " cannot be written: " + error.message());
    if (done) done(domain, to_path);
  }
  return Status::Ok();
}

Status RestoreStore(const std::string& store_root, const std::string& source, const BackupProgress& done) {
  auto domains = DomainsUnder(source);
  if (!domains.ok()) return domains.status();
  if (domains->empty()) return Failed("The backup folder " + source + " holds no store database");
  // Everything is checked before anything is replaced.
  for (const std::string& domain : *domains) {
    const std::string path = LocalStoreDatabase::PathOf(source, domain);
    auto opened = LocalStoreDatabase::Open(source, domain);
    if (!opened.ok()) return opened.status();
    if (Status sound = CheckIntegrity((*opened)->IntegrityVerdict(), path); !sound.ok()) return sound;
  }
  for (const std::string& domain : *domains) {
    const std::string from_path = LocalStoreDatabase::PathOf(source, domain);
    const std::string to_path = LocalStoreDatabase::PathOf(store_root, domain);
    std::error_code error;
    fs::create_directories(fs::path(to_path).parent_path(), error);
    if (error) return Failed("The store folder for " + domain + " cannot be made: " + error.message());
    auto from = Connect(from_path, SQLITE_OPEN_READONLY);
    if (!from.ok()) return from.status();
    auto to = Connect(to_path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
    if (!to.ok()) return to.status();
    if (Status copied = Copy(from->get(), to->get(), "Restoring " + to_path + " failed"); !copied.ok()) {
      return copied;
    }
    if (done) done(domain, to_path);
  }
  return Status::Ok();
}

}  // namespace orbitel::data
