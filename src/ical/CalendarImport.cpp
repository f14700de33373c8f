#include "ical/CalendarImport.h"

#include <memory>

namespace orbitel::data {

namespace {
constexpr std::size_t kProgressEvery = 1000;
}  // namespace

Status ImportItems(StoreFolder& folder, const std::vector<CalendarItem>& items,
                   const ImportProgress& progress) {
  Result<std::unique_ptr<StoreWrites>> writes = folder.BeginWrites();
  if (!writes.ok()) return writes.status();
  std::size_t done = 0;
  for (const CalendarItem& item : items) {
    if (Status put = folder.PutItem(item.uid, item.ics); !put.ok()) {
      return Status::Error(put.number(), "item " + item.uid + ": " + put.description());
    }
    if (++done % kProgressEvery == 0 && progress) progress(done, items.size());
  }
  return (*writes)->Commit();
}

}  // namespace orbitel::data
