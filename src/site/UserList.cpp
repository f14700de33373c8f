#include "site/UserList.h"

#include <optional>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "recordset/AtomicFile.h"
#include "recordset/RowsetFile.h"
#include "runtime/Conversions.h"
#include "runtime/ErrorNumbers.h"
#include "runtime/FileStamp.h"
#include "site/ErrorHandler.h"
#include "site/SiteFiles.h"
#include "site/SiteState.h"

namespace orbitel::site {

namespace {

std::string SettingsPath() { return files::InSite(Site().SitePath, files::kSettings); }
std::string UsersPath() { return files::InSite(Site().SitePath, files::kUsers); }

Status FirstRunDone(bool& done) {
  data::Recordset settings;
  Status opened = data::OpenRowsetFile(SettingsPath(), settings);
  if (!opened.ok()) return opened;
  auto first_time = settings.Field("FirstTime");
  if (!first_time.ok()) return first_time.status();
  done = ToUpper(first_time->Text()) == "NO";
  return Status::Ok();
}

Status MarkFirstRunDone() {
  data::Recordset settings;
  Status status = data::OpenRowsetFile(SettingsPath(), settings);
  if (!status.ok()) return status;
  if (!(status = settings.SetField("FirstTime", std::string("No"))).ok()) return status;
  if (!(status = settings.Update()).ok()) return status;
  return data::SaveRowsetFile(settings, SettingsPath());
}

}  // namespace

Status SaveUsers(const UserList& users) {
  data::Recordset file;
  Status status = data::OpenRowsetFile(UsersPath(), file);
  if (!status.ok()) return status;
  while (!file.IsEOF()) {
    if (!(status = file.Delete()).ok()) return status;
    if (!(status = file.Update()).ok()) return status;
    if (!(status = file.MoveNext()).ok()) return status;
  }
  for (const std::string& entry : users) {
    if (!(status = file.AddNew()).ok()) return status;
    if (!(status = file.SetField("Users", SplitUserEntry(entry, false))).ok()) return status;
    if (!(status = file.Update()).ok()) return status;
  }
  return data::SaveRowsetFile(file, UsersPath());
}

std::string SplitUserEntry(std::string_view entry, bool want_full_name) {
  const auto bar = entry.find('|');
  std::string_view account = entry.substr(0, bar);
  if (account.empty()) return "";
  if (!want_full_name) return Trim(account);
  if (bar == std::string_view::npos) return "";
  std::string_view rest = entry.substr(bar + 1);
  return Trim(rest.substr(0, rest.find('|')));
}

void InitialiseUsers(const UserList& users) {
  // A settings file that said the first run was done says so until it changes: while its stamp
  // is the one it had then, the page takes neither the lock every page would wait on nor reads it.
  thread_local std::optional<std::pair<std::string, FileStamp>> said_done;
  const std::string path = SettingsPath();
  const std::optional<FileStamp> stamp = StampOf(path);
  if (stamp && said_done && said_done->first == path && said_done->second == *stamp) return;
  RunLogged("AdminStuff.InitialiseUsers", [&users, &path, &stamp] {
    data::FileLock write_together(files::InSite(Site().SitePath, files::kSettingsLock), data::FileLock::Mode::kExclusive);
    bool done = false;
    Status status = FirstRunDone(done);
    // The stamp was taken before the file was read: a change in between is read next time.
    if (status.ok() && done && stamp) said_done.emplace(path, *stamp);
    if (!status.ok() || done) return status;
    if (!(status = SaveUsers(users)).ok()) return status;
    return MarkFirstRunDone();
  });
}

namespace {

// The accounts the users file lists, folded as its filter compares them ("Users = 'x'" ignores
// ASCII case; an empty value reads as empty text), so the clean-up looks each person up once
// instead of filtering the whole file for every one. Null when a value is not text (a file
// typed otherwise), where only the filter knows how it compares.
std::optional<std::unordered_set<std::string>> ListedAccounts(const data::Recordset& file) {
  const std::optional<std::size_t> column = file.FieldIndex("Users");
  if (!column) return std::nullopt;
  std::unordered_set<std::string> listed;
  for (const std::vector<Value>& row : file.rows()) {
    const Value& value = row[*column];
    if (value.IsEmpty()) {
      listed.insert("");
    } else if (const std::string* text = value.AsText()) {
      listed.insert(ToLower(*text));
    } else {
      return std::nullopt;
    }
  }
  return listed;
}

}  // namespace

void CleanUpUsers(UserList& users) {
  if (!Site().SettingsLoaded) return;
  RunLogged("AdminStuff.CleanUpUsers", [&users] {
    data::Recordset file;
    Status status = Status::Ok();
    {
      data::FileLock saved_pair(files::InSite(Site().SitePath, files::kSettingsLock), data::FileLock::Mode::kShared);
      status = data::OpenRowsetFile(UsersPath(), file);
    }
    if (!status.ok()) return status;
    const std::optional<std::unordered_set<std::string>> listed = ListedAccounts(file);
    // Whether the file lists the account; a name with an apostrophe goes through the filter
    // itself, whose text it breaks (or, doubled, turns into one), as does any name of a file
    // the look-up cannot read.
    const auto is_listed = [&](const std::string& name) -> Result<bool> {
      if (listed && name.find('\'') == std::string::npos) return listed->contains(ToLower(name));
      Status filtered = file.SetFilter("Users = '" + name + "'");
      if (!filtered.ok()) return filtered;
      return !file.IsEOF();
    };
    // The entries kept are moved to the front as the list is walked, so removing many costs no
    // more than removing one; on any way out the list holds the kept entries, then those not
    // yet looked at, as removing them one by one would have left it.
    std::size_t kept = 0;
    std::size_t next = 0;
    const auto settle = [&] { users.erase(users.begin() + static_cast<long>(kept), users.begin() + static_cast<long>(next)); };
    for (; next < users.size(); ++next) {
      Result<bool> found = is_listed(SplitUserEntry(users[next], false));
      if (!found.ok()) {
        settle();
        return found.status();
      }
      if (!*found) {
        if (kept + (users.size() - next) == 1) {
          settle();
          return Status::Error(errors::kSubscriptOutOfRange, "Subscript out of range");
        }
        continue;
      }
      if (kept != next) users[kept] = std::move(users[next]);
      ++kept;
    }
    settle();
    return Status::Ok();
  });
}

}  // namespace orbitel::site
