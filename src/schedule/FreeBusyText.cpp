#include "schedule/FreeBusyText.h"

#include "ical/PublishedCalendar.h"

namespace orbitel::schedule {

namespace {

data::FreeBusyType TypeOf(BusyKind kind) {
  switch (kind) {
    case BusyKind::kTentative: return data::FreeBusyType::kTentative;
    case BusyKind::kOutOfOffice: return data::FreeBusyType::kUnavailable;
    case BusyKind::kBusy: break;
  }
  return data::FreeBusyType::kBusy;
}

}  // namespace

std::string FreeBusyText(const std::string& organizer, UtcSeconds from, UtcSeconds until,
                         const std::vector<BusyPeriod>& periods, UtcSeconds now) {
  std::vector<data::PublishedBusy> busy;
  for (const BusyPeriod& period : periods) busy.push_back({period.start, period.end, TypeOf(period.kind)});
  return data::PublishedFreeBusyText(organizer, from, until, busy, now);
}

}  // namespace orbitel::schedule
