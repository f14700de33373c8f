#include "data/ExpandedSeries.h"

#include <cstdlib>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <unordered_map>

#include "data/ICalendar.h"

namespace orbitel::data {

namespace {

// Room for the series of a team of several hundred people over a few periods.
constexpr std::size_t kKeptBytes = 16 << 20;

struct Kept {
  std::shared_mutex mutex;  // the request threads look up side by side
  std::unordered_map<std::string, std::shared_ptr<const std::vector<StoreItem>>> series;
  std::size_t bytes = 0;
};

Kept& TheKept() {
  static Kept kept;
  return kept;
}

// All-day occurrences fall on local midnights: the time zone is part of the key.
std::string KeyOf(std::string_view ics, UtcSeconds from, UtcSeconds until) {
  const char* zone = std::getenv("TZ");
  std::string key = zone ? zone : "";
  key += '\0';
  key.reserve(key.size() + ics.size() + 2 * sizeof(UtcSeconds));
  key.append(reinterpret_cast<const char*>(&from), sizeof from);
  key.append(reinterpret_cast<const char*>(&until), sizeof until);
  key.append(ics);
  return key;
}

std::size_t BytesOf(const std::string& key, const std::vector<StoreItem>& occurrences) {
  std::size_t bytes = key.size();
  for (const StoreItem& item : occurrences) {
    bytes += sizeof item + item.uid.size() + item.subject.size() + item.location.size() +
             item.busystatus.size() + item.textdescription.size();
  }
  return bytes;
}

}  // namespace

Result<std::shared_ptr<const std::vector<StoreItem>>> ExpandSeries(std::string_view ics, UtcSeconds from,
                                                                   UtcSeconds until) {
  Kept& kept = TheKept();
  std::string key = KeyOf(ics, from, until);
  {
    std::shared_lock lock(kept.mutex);
    if (const auto found = kept.series.find(key); found != kept.series.end()) return found->second;
  }
  Result<std::vector<StoreItem>> expanded = ExpandItem(ics, from, until);
  if (!expanded.ok()) return expanded.status();
  const std::size_t bytes = BytesOf(key, *expanded);
  auto series = std::make_shared<const std::vector<StoreItem>>(std::move(expanded).value());
  std::unique_lock lock(kept.mutex);
  if (kept.bytes + bytes > kKeptBytes) {
    kept.series.clear();
    kept.bytes = 0;
  }
  if (bytes <= kKeptBytes && kept.series.emplace(std::move(key), series).second) kept.bytes += bytes;
  return series;
}

}  // namespace orbitel::data
