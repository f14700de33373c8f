#include "ical/ExpandedSeries.h"

#include <cstdlib>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <unordered_map>

#include "ical/ICalendar.h"
#include "ical/ItemOccurrences.h"

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

// All-day occurrences fall on local midnights: the time zone is part of the key. A stored item
// and a server's calendar text of the same bytes are keyed apart by their kind.
std::string KeyOf(char kind, std::string_view ics, UtcSeconds from, UtcSeconds until) {
  const char* zone = std::getenv("TZ");
  std::string key = zone ? zone : "";
  key += '\0';
  key += kind;
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

// The kept occurrences for the key, else what expand makes of them, kept for the next call.
template <typename Expand>
Result<std::shared_ptr<const std::vector<StoreItem>>> Keep(std::string key, Expand expand) {
  Kept& kept = TheKept();
  {
    std::shared_lock lock(kept.mutex);
    if (const auto found = kept.series.find(key); found != kept.series.end()) return found->second;
  }
  Result<std::vector<StoreItem>> expanded = expand();
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

}  // namespace

Result<std::shared_ptr<const std::vector<StoreItem>>> ExpandSeries(std::string_view ics, UtcSeconds from,
                                                                   UtcSeconds until) {
  return Keep(KeyOf('s', ics, from, until), [&] { return ExpandItem(ics, from, until); });
}

Result<std::vector<StoreItem>> ExpandCalendarText(std::string_view text, UtcSeconds from,
                                                  UtcSeconds until) {
  Result<std::shared_ptr<const std::vector<StoreItem>>> kept =
      Keep(KeyOf('c', text, from, until), [&]() -> Result<std::vector<StoreItem>> {
        Result<std::vector<CalendarItem>> items = ParseCalendar(text);
        if (!items.ok()) return items.status();
        std::vector<StoreItem> occurrences;
        for (const CalendarItem& item : *items) {
          Result<std::vector<StoreItem>> expanded = ExpandItem(item.ics, from, until);
          if (!expanded.ok()) return expanded.status();
          occurrences.insert(occurrences.end(), expanded->begin(), expanded->end());
        }
        return occurrences;
      });
  if (!kept.ok()) return kept.status();
  return **kept;  // a copy: the caller names each occurrence after its item
}

}  // namespace orbitel::data
