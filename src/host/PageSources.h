#pragma once
// What a page shared by the visitors of a sign-in level is made from, summed up in a
// fingerprint that changes whenever any of it does: the files of the site folder (settings,
// users, the directory file) and of its templates folder, every domain database of the local
// store (its count of changes, which every writer bumps), today's date and, for the now page,
// the hour and half hour it shows. The folders are watched (FolderWatch), so a fingerprint
// costs one read of the watch and one small query a domain. One per site; safe from any thread.

#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "runtime/FolderWatch.h"

namespace orbitel::host {

class PageSources {
 public:
  explicit PageSources(std::filesystem::path site_folder) : site_folder_(std::move(site_folder)) {}

  // For the site the calling thread answers for. nullopt when a source cannot be watched, so
  // the page is not kept: an LDAP directory (its people change there unseen), folders the
  // system cannot watch, a store database that cannot be read.
  std::optional<std::string> Fingerprint(bool follows_the_clock);

  // A text that changes whenever a file of the site's folders (the templates' among them) may
  // have changed, from the same watch; nullopt when they cannot be watched.
  std::optional<std::string> FolderChanges();

 private:
  // The watch's count of changes, the watch started when there is none; the mutex is held.
  std::optional<std::uint64_t> ChangesLocked();

  const std::filesystem::path site_folder_;
  std::mutex mutex_;
  std::unique_ptr<FolderWatch> watch_;
  std::uint64_t watches_started_ = 0;  // a new watch counts its changes from 0 again
  std::optional<std::uint64_t> listed_at_;  // the watch's count when the domains were listed
  std::vector<std::string> domains_;        // those with a database
};

}  // namespace orbitel::host
