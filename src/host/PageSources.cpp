#include "host/PageSources.h"

#include <algorithm>
#include <vector>

#include "data/LocalStoreDatabase.h"
#include "directory/LdifDirectory.h"
#include "site/Clock.h"
#include "site/DateHelpers.h"
#include "runtime/FileStamp.h"
#include "site/SiteFiles.h"
#include "site/SiteServices.h"
#include "host/SiteTemplates.h"

namespace orbitel::host {

namespace {

void AppendNumber(std::string& fingerprint, long long number) {
  fingerprint += std::to_string(number);
  fingerprint += ';';
}

// Each domain's count of changes and the stamps of its database and write-ahead log: the count
// notices every write, the stamps a database put back whole from a backup.
bool AppendStore(std::string& fingerprint) {
  const std::filesystem::path& root = site::Services().store_root;
  std::error_code error;
  std::vector<std::string> domains;
  for (const auto& entry : std::filesystem::directory_iterator(root, error)) {
    const std::string domain = entry.path().filename().string();
    if (std::filesystem::exists(data::LocalStoreDatabase::PathOf(root.string(), domain), error)) domains.push_back(domain);
  }
  std::sort(domains.begin(), domains.end());
  for (const std::string& domain : domains) {
    auto database = data::LocalStoreDatabase::Open(root.string(), domain);
    if (!database.ok()) return false;
    Result<std::int64_t> changes = (*database)->ChangeCount();
    if (!changes.ok()) return false;
    const std::string path = data::LocalStoreDatabase::PathOf(root.string(), domain);
    fingerprint += domain;
    fingerprint += ';';
    AppendNumber(fingerprint, *changes);
    AppendStamp(fingerprint, StampOf(path));
    AppendStamp(fingerprint, StampOf(path + "-wal"));
  }
  return true;
}

}  // namespace

std::optional<std::string> PageSourcesFingerprint(const std::filesystem::path& site_folder, bool follows_the_clock) {
  std::string fingerprint;
  const auto* file = dynamic_cast<const directory::LdifDirectory*>(site::Services().directory.get());
  if (site::Services().directory && !file) return std::nullopt;
  if (file) AppendStamp(fingerprint, StampOf(file->path()));
  const std::string folder = site_folder.string() + "/";
  AppendStamp(fingerprint, StampOf(site::files::InSite(folder, site::files::kSettings)));
  AppendStamp(fingerprint, StampOf(site::files::InSite(folder, site::files::kUsers)));
  fingerprint += TemplatesFingerprint(site_folder);
  if (!AppendStore(fingerprint)) return std::nullopt;

  const Date now = site::Now();
  AppendNumber(fingerprint, static_cast<long long>(now.DatePart().serial()));
  if (follows_the_clock) {
    // The now page shows the hour and the half hour as HalfHourFraction rounds the minutes.
    AppendNumber(fingerprint, now.Hour());
    AppendNumber(fingerprint, static_cast<long long>(site::HalfHourFraction(now.Minute()) * 2));
  }
  return fingerprint;
}

}  // namespace orbitel::host
