// iCalendar import, as "orbitel store import" and the CalDAV store read calendar texts: the
// input split into items, and every item summarised for the store's index, expanded over the
// month after it starts, edited as the appointment page edits it, and given a new UID.
#include <string>
#include <vector>

#include "FuzzInput.h"
#include "ical/ICalendar.h"
#include "ical/ItemOccurrences.h"

using namespace orbitel;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  auto items = data::ParseCalendar(fuzz::InputText(data, size));
  if (!items.ok()) return 0;
  std::vector<std::string> texts;
  for (const data::CalendarItem& item : *items) {
    auto summary = data::SummarizeItem(item.ics);
    fuzz::Require(summary.ok(), "every item the import splits off can be indexed");
    constexpr data::UtcSeconds kMonth = 31 * 24 * 60 * 60;
    (void)data::ExpandItem(item.ics, summary->span_start, summary->span_start + kMonth);

    data::EventEdit edit;
    edit.subject = "Team meeting";
    edit.busystatus = "BUSY";
    (void)data::EditEventCalendar(item.ics, edit);
    (void)data::WithUid(item.ics, "0123456789abcdef0123456789abcdef@orbitel");
    texts.push_back(item.ics);
  }
  (void)data::JoinCalendar(texts);
  return 0;
}
