#include "site/SiteSettings.h"

#include <unistd.h>

#include "recordset/AtomicFile.h"
#include "recordset/RowsetFile.h"
#include "runtime/Conversions.h"
#include "runtime/FileStamp.h"
#include "site/DomainDirectory.h"
#include "site/ErrorHandler.h"
#include "site/SiteFiles.h"
#include "site/SiteServices.h"
#include "site/SiteState.h"

namespace orbitel::site {

namespace {

// The directory's answer when this computer belongs to no domain.
constexpr long kNoDomain = -2147023541;

// The setting's number; its fallback when the file has none or another value.
int WholeNumberSetting(data::Recordset& settings, const WholeNumberField& field) {
  auto value = settings.Field(field.field);
  if (!value.ok()) return field.fallback;
  return WholeNumberIn(value->Text(), field).value_or(field.fallback);
}

Status ReadSettingsRow(data::Recordset& settings, SiteState& site) {
  // The fields are read one by one in this order, so a missing one leaves those after it as the
  // previous load set them.
  const std::pair<const char*, std::string*> texts[] = {
      {"ShowLocation", &site.ShowLocation},       {"LocationEntry", &site.LocationEntry},
      {"LocationNoEntry", &site.LocationNoEntry}, {"UserUserName", &site.UserUserName},
      {"UserPassword", &site.UserPassword},       {"AdminUserName", &site.AdminUserName},
      {"AdminPassword", &site.AdminPassword},     {"ExchangeServerName", &site.ExchangeServerName},
  };
  for (const auto& [name, target] : texts) {
    auto value = settings.Field(name);
    if (!value.ok()) return value.status();
    *target = value->Text();
  }
  auto via_backoffice = settings.Field("ExchangeViaBackoffice");
  if (!via_backoffice.ok()) return via_backoffice.status();
  auto flag = ToBoolean(via_backoffice->Text());
  if (!flag.ok()) return flag.status();
  site.ExchangeViaBackoffice = *flag;
  // Settings files from before the mirror have no interval or window, and keep the defaults; so
  // does one that is not a whole number of seconds from 10 to a day, or of days up to ten years.
  site.MirrorInterval = WholeNumberSetting(settings, kMirrorInterval);
  site.MirrorDaysBack = WholeNumberSetting(settings, kMirrorDaysBack);
  site.MirrorDaysAhead = WholeNumberSetting(settings, kMirrorDaysAhead);
  return Status::Ok();
}

// The settings file as this thread last read it in full: its stamp and its values, so a page
// of an unchanged file takes them without reading and parsing the file again.
struct ReadSettings {
  std::string path;
  FileStamp stamp;
  bool has_row = false;
  SiteState values;
};

ReadSettings& LastRead() {
  thread_local ReadSettings last;
  return last;
}

void TakeSettings(const SiteState& from, SiteState& site) {
  site.ShowLocation = from.ShowLocation;
  site.LocationEntry = from.LocationEntry;
  site.LocationNoEntry = from.LocationNoEntry;
  site.UserUserName = from.UserUserName;
  site.UserPassword = from.UserPassword;
  site.AdminUserName = from.AdminUserName;
  site.AdminPassword = from.AdminPassword;
  site.ExchangeServerName = from.ExchangeServerName;
  site.ExchangeViaBackoffice = from.ExchangeViaBackoffice;
  site.MirrorInterval = from.MirrorInterval;
  site.MirrorDaysBack = from.MirrorDaysBack;
  site.MirrorDaysAhead = from.MirrorDaysAhead;
}

// Reads the settings file into the site state, or takes what this thread read of the same
// version of it before.
Status ReadSettingsFile(SiteState& site) {
  const std::string path = files::InSite(site.SitePath, files::kSettings);
  ReadSettings& last = LastRead();
  // Never in the middle of a save of the settings and the users file; the stamp is taken
  // under the same lock, so it is the stamp of what is read.
  data::FileLock saved_pair(files::InSite(site.SitePath, files::kSettingsLock), data::FileLock::Mode::kShared);
  const std::optional<FileStamp> stamp = StampOf(path);
  if (stamp && last.path == path && last.stamp == *stamp) {
    if (last.has_row) TakeSettings(last.values, site);
    return Status::Ok();
  }
  last.path.clear();
  data::Recordset settings;
  Status opened = data::OpenRowsetFile(path, settings);
  if (!opened.ok()) return opened;
  if (!settings.IsEOF()) {
    Status read = ReadSettingsRow(settings, site);
    if (!read.ok()) return read;
  }
  if (stamp) last = ReadSettings{path, *stamp, !settings.IsEOF(), {}};
  TakeSettings(site, last.values);
  return Status::Ok();
}

void MakeStoreSettings(SiteState& site) {
  if (site.ExchangeViaBackoffice) {
    if (site.ExchangeServerName.empty()) site.ExchangeServerName = GetDomainNameFromMDrive();
    if (site.ExchangeServerName.empty()) site.ExchangeServerName = GetDomainName();
    site.StoreUrlBase = "file://./backofficestorage/" + site.ExchangeServerName + "/MBX/";
    site.StoreProvider = "ExOLEDB.DataSource";
    return;
  }
  // Only "localhost" in any case and this exact loopback address mean this computer; other
  // spellings of a loopback address are used as they stand.
  if (ToLower(site.ExchangeServerName) == "localhost" || site.ExchangeServerName == "127.0.0.1" ||
      site.ExchangeServerName.empty()) {
    site.ExchangeServerName = ComputerName();
  }
  site.StoreUrlBase = "http://" + site.ExchangeServerName + "/exchange/";
  site.StoreProvider = "MSDAIPP.DSO";
}

Status LookUpDomain(SiteState& site) {
  const auto& directory = Services().directory;
  if (!directory) {
    return Status::Error(kNoDomain,
                         "The specified domain either does not exist or could not be contacted");
  }
  auto naming_context = directory->NamingContext();
  if (!naming_context.ok()) return naming_context.status();
  site.DomainDnsName = directory::DnsNameOf(*naming_context);
  return Status::Ok();
}

}  // namespace

std::optional<int> WholeNumberIn(std::string_view text, const WholeNumberField& field) {
  const std::string digits = Trim(text);
  if (digits.empty() || digits.size() > 5 || digits.find_first_not_of("0123456789") != std::string::npos) {
    return std::nullopt;
  }
  const int number = std::stoi(digits);
  if (number < field.lowest || number > field.highest) return std::nullopt;
  return number;
}

std::string ComputerName() {
  char buffer[256] = {};
  if (gethostname(buffer, sizeof buffer - 1) != 0) return "";
  std::string name(buffer);
  return name.substr(0, name.find('.'));
}

Status LoadSettingsFile() {
  SiteState& site = Site();
  if (Status read = ReadSettingsFile(site); !read.ok()) return read;
  MakeStoreSettings(site);
  return Status::Ok();
}

void GetSiteVars() {
  SiteState& site = Site();
  Status status = RunLogged("AdminStuff.GetSiteVars", [&site] {
    if (Status loaded = LoadSettingsFile(); !loaded.ok()) return loaded;

    site.SettingsLoaded = false;
    Status domain = LookUpDomain(site);
    if (!domain.ok()) return domain;
    site.SettingsLoaded = true;
    return Status::Ok();
  });
  if (!status.ok()) site.SettingsLoaded = false;
}

}  // namespace orbitel::site
