#include "localstore/KeptReads.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <shared_mutex>
#include <unordered_map>
#include <utility>

namespace orbitel::data {

namespace {

// Room for the series of several teams of several hundred people.
constexpr std::size_t kKeptBytes = 16 << 20;

struct Kept {
  std::shared_mutex mutex;  // the request threads look up side by side
  // By database and folder: the count of changes the series were read at, and the series.
  std::map<std::pair<std::string, std::int64_t>, std::pair<std::int64_t, std::shared_ptr<const FolderSeries>>> series;
  std::size_t bytes = 0;
};

Kept& TheKept() {
  static Kept kept;
  return kept;
}

// By database: the count of changes the folders were found at, and the folders by account.
struct KeptFolders {
  std::shared_mutex mutex;
  std::map<std::string, std::pair<std::int64_t, std::unordered_map<std::string, std::int64_t>>> folders;
};

KeptFolders& TheKeptFolders() {
  static KeptFolders kept;
  return kept;
}

std::size_t BytesOf(const std::string& database, const FolderSeries& series) {
  std::size_t bytes = database.size() + sizeof series;
  for (const SeriesItem& item : series) bytes += sizeof item + item.name.size() + item.ics.size();
  return bytes;
}

}  // namespace

std::shared_ptr<const FolderSeries> FindKeptSeries(const std::string& database, std::int64_t folder,
                                                   std::int64_t changes) {
  Kept& kept = TheKept();
  std::shared_lock lock(kept.mutex);
  const auto found = kept.series.find({database, folder});
  if (found == kept.series.end() || found->second.first != changes) return nullptr;
  return found->second.second;
}

void KeepSeries(const std::string& database, std::int64_t folder, std::int64_t changes,
                std::shared_ptr<const FolderSeries> series) {
  const std::size_t bytes = BytesOf(database, *series);
  Kept& kept = TheKept();
  std::unique_lock lock(kept.mutex);
  // A folder's older series go: they were read before a change.
  if (const auto old = kept.series.find({database, folder}); old != kept.series.end()) {
    kept.bytes -= std::min(kept.bytes, BytesOf(database, *old->second.second));
    kept.series.erase(old);
  }
  if (kept.bytes + bytes > kKeptBytes) {
    kept.series.clear();
    kept.bytes = 0;
  }
  if (bytes > kKeptBytes) return;
  kept.series.emplace(std::make_pair(database, folder), std::make_pair(changes, std::move(series)));
  kept.bytes += bytes;
}

std::optional<std::int64_t> FindKeptFolder(const std::string& database, std::int64_t changes,
                                           const std::string& account) {
  KeptFolders& kept = TheKeptFolders();
  std::shared_lock lock(kept.mutex);
  const auto found = kept.folders.find(database);
  if (found == kept.folders.end() || found->second.first != changes) return std::nullopt;
  const auto folder = found->second.second.find(account);
  if (folder == found->second.second.end()) return std::nullopt;
  return folder->second;
}

void KeepFolder(const std::string& database, std::int64_t changes, const std::string& account,
                std::int64_t folder) {
  KeptFolders& kept = TheKeptFolders();
  std::unique_lock lock(kept.mutex);
  auto& [kept_changes, folders] = kept.folders[database];
  // Folders found before another count may be gone since.
  if (kept_changes != changes) {
    kept_changes = changes;
    folders.clear();
  }
  folders.emplace(account, folder);
}

}  // namespace orbitel::data
