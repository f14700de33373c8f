#include "site/UserList.h"

#include "data/AtomicFile.h"
#include "data/RowsetFile.h"
#include "runtime/Conversions.h"
#include "runtime/ErrorNumbers.h"
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
  RunLogged("AdminStuff.InitialiseUsers", [&users] {
    data::FileLock write_together(files::InSite(Site().SitePath, files::kSettingsLock), data::FileLock::Mode::kExclusive);
    bool done = false;
    Status status = FirstRunDone(done);
    if (!status.ok() || done) return status;
    if (!(status = SaveUsers(users)).ok()) return status;
    return MarkFirstRunDone();
  });
}

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
    // Indexes walk the list as it was on entry; removing an entry moves the later ones down,
    // so the same index is looked at again.
    const long last = static_cast<long>(users.size()) - 1;
    for (long i = 0; i <= last; ++i) {
      if (i >= static_cast<long>(users.size())) continue;
      status = file.SetFilter("Users = '" + SplitUserEntry(users[i], false) + "'");
      if (!status.ok()) return status;
      if (!file.IsEOF()) continue;
      if (users.size() == 1) {
        return Status::Error(errors::kSubscriptOutOfRange, "Subscript out of range");
      }
      users.erase(users.begin() + i);
      --i;
    }
    return Status::Ok();
  });
}

}  // namespace orbitel::site
