#include "host/PageSources.h"

#include <algorithm>

#include "directory/LdifDirectory.h"
#include "localstore/LocalStoreDatabase.h"
#include "site/Clock.h"
#include "site/DateHelpers.h"
#include "site/SiteFiles.h"
#include "site/SiteServices.h"

namespace orbitel::host {

namespace {

void AppendNumber(std::string& fingerprint, long long number) {
  fingerprint += std::to_string(number);
  fingerprint += ';';
}

}  // namespace

std::optional<std::string> PageSources::Fingerprint(bool follows_the_clock) {
  const auto* file = dynamic_cast<const directory::LdifDirectory*>(site::Services().directory.get());
  if (site::Services().directory && !file) return std::nullopt;
  const std::filesystem::path root = site::Services().stores.store_root;

  std::string fingerprint;
  std::vector<std::string> domains;
  {
    std::lock_guard lock(mutex_);
    const std::optional<std::uint64_t> changes = ChangesLocked();
    if (!changes) return std::nullopt;
    // The store root's watch sees a domain added or removed; each domain folder's, its database
    // put back from a backup. A domain added while listing shows as a change next time.
    if (listed_at_ != changes) {
      domains_.clear();
      std::error_code error;
      for (const auto& entry : std::filesystem::directory_iterator(root, error)) {
        if (!entry.is_directory(error)) continue;
        if (!watch_->Add(entry.path().string())) {
          watch_.reset();
          return std::nullopt;
        }
        const std::string domain = entry.path().filename().string();
        if (std::filesystem::exists(data::LocalStoreDatabase::PathOf(root.string(), domain), error)) {
          domains_.push_back(domain);
        }
      }
      std::sort(domains_.begin(), domains_.end());
      listed_at_ = changes;
    }
    AppendNumber(fingerprint, static_cast<long long>(watches_started_));
    AppendNumber(fingerprint, static_cast<long long>(*changes));
    domains = domains_;
  }

  for (const std::string& domain : domains) {
    auto database = data::LocalStoreDatabase::Open(root.string(), domain);
    if (!database.ok()) return std::nullopt;
    Result<std::int64_t> changes = (*database)->ChangeCount();
    if (!changes.ok()) return std::nullopt;
    fingerprint += domain;
    fingerprint += ';';
    AppendNumber(fingerprint, *changes);
  }

  const Date now = site::Now();
  AppendNumber(fingerprint, static_cast<long long>(now.DatePart().serial()));
  if (follows_the_clock) {
    // The now page shows the hour and the half hour as HalfHourFraction rounds the minutes.
    AppendNumber(fingerprint, now.Hour());
    AppendNumber(fingerprint, static_cast<long long>(site::HalfHourFraction(now.Minute()) * 2));
  }
  return fingerprint;
}

std::optional<std::uint64_t> PageSources::ChangesLocked() {
  std::optional<std::uint64_t> changes = watch_ ? watch_->Changes() : std::nullopt;
  if (changes) return changes;
  const auto* file = dynamic_cast<const directory::LdifDirectory*>(site::Services().directory.get());
  const std::filesystem::path root = site::Services().stores.store_root;
  std::vector<std::string> folders = {site_folder_.string(), (site_folder_ / "templates").string(), root.string()};
  if (file) folders.push_back(std::filesystem::absolute(file->path()).parent_path().string());
  // The error log of the site folder grows with every error logged, which changes no page.
  watch_ = FolderWatch::Start(folders, {site::files::kErrorLog});
  if (!watch_) return std::nullopt;
  ++watches_started_;
  listed_at_.reset();
  return watch_->Changes();
}

std::optional<std::string> PageSources::FolderChanges() {
  std::lock_guard lock(mutex_);
  const std::optional<std::uint64_t> changes = ChangesLocked();
  if (!changes) return std::nullopt;
  std::string text;
  AppendNumber(text, static_cast<long long>(watches_started_));
  AppendNumber(text, static_cast<long long>(*changes));
  return text;
}

}  // namespace orbitel::host
