#include "ical/ItemOccurrences.h"

#include <strings.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <set>

#include "ical/ICalendar.h"
#include "ical/IcalSupport.h"
#include "runtime/Conversions.h"
#include "runtime/ErrorNumbers.h"

namespace orbitel::data {
namespace {

constexpr UtcSeconds kSecondsPerDay = 86400;
// Bounds the work one item can cause: a rule that yields more occurrences than this inside the
// period asked for is cut off there, and its span counts as endless.
constexpr int kMaxOccurrences = 20000;
// A period without an end expands an endless series this far past the period's start only.
constexpr UtcSeconds kEndlessHorizon = 10 * 366 * kSecondsPerDay;

std::string TextOrEmpty(const char* text) { return text != nullptr ? std::string(text) : std::string(); }

std::string BusyStatusOf(icalcomponent* event) {
  if (const char* status = ical::XPropertyValue(event, "X-MICROSOFT-CDO-BUSYSTATUS")) {
    const std::string upper = ToUpper(Trim(status));
    if (!upper.empty()) return upper;
  }
  if (icalproperty* transp = icalcomponent_get_first_property(event, ICAL_TRANSP_PROPERTY)) {
    const char* value = icalproperty_get_value_as_string(transp);
    if (value != nullptr && strcasecmp(value, "TRANSPARENT") == 0) return "FREE";
  }
  if (icalproperty* status = icalcomponent_get_first_property(event, ICAL_STATUS_PROPERTY)) {
    if (icalproperty_get_status(status) == ICAL_STATUS_TENTATIVE) return "TENTATIVE";
  }
  return "BUSY";
}

int SensitivityOf(icalcomponent* event) {
  icalproperty* klass = icalcomponent_get_first_property(event, ICAL_CLASS_PROPERTY);
  if (klass == nullptr) return 0;
  const std::string value = ToUpper(Trim(TextOrEmpty(icalproperty_get_value_as_string(klass))));
  if (value == "PERSONAL" || value == "X-PERSONAL") return 1;
  if (value == "PRIVATE") return 2;
  if (value == "CONFIDENTIAL") return 3;
  return 0;
}

// A VEVENT's own times: DTEND, else DTSTART plus DURATION, else one day for a date and
// nothing for a time; an end before the start is taken as the start.
struct ComponentTimes {
  icaltimetype start_value;
  icalproperty* start_property = nullptr;
  UtcSeconds start = 0;
  UtcSeconds end = 0;
  bool all_day = false;
  int all_day_length = 1;  // in days, for all-day events
};

std::optional<ComponentTimes> TimesOf(icalcomponent* event, icalcomponent* calendar) {
  ComponentTimes times;
  times.start_property = icalcomponent_get_first_property(event, ICAL_DTSTART_PROPERTY);
  if (times.start_property == nullptr) return std::nullopt;
  times.start_value = icalproperty_get_dtstart(times.start_property);
  const auto start = ical::UtcOf(times.start_value, times.start_property, calendar);
  if (!start) return std::nullopt;
  times.start = *start;
  times.all_day = times.start_value.is_date != 0;

  std::optional<UtcSeconds> end;
  if (icalproperty* dtend = icalcomponent_get_first_property(event, ICAL_DTEND_PROPERTY)) {
    end = ical::UtcOf(icalproperty_get_dtend(dtend), dtend, calendar);
  } else if (icalproperty* duration =
                 icalcomponent_get_first_property(event, ICAL_DURATION_PROPERTY)) {
    // Nominal days and weeks step over wall-clock days; exact hours and minutes are seconds.
    const icaldurationtype length = icalproperty_get_duration(duration);
    const icaltimetype later = icaltime_add(times.start_value, length);
    end = ical::UtcOf(later, times.start_property, calendar);
  } else if (times.all_day) {
    icaltimetype next = times.start_value;
    icaltime_adjust(&next, 1, 0, 0, 0);
    end = ical::UtcOf(next, times.start_property, calendar);
  }
  times.end = std::max(times.start, end.value_or(times.start));
  if (times.all_day) {
    times.all_day_length = std::max<int>(
        1, static_cast<int>(std::lround(static_cast<double>(times.end - times.start) / kSecondsPerDay)));
  }
  return times;
}

StoreItem PropertiesOf(icalcomponent* event, const ComponentTimes& times) {
  StoreItem item;
  item.uid = TextOrEmpty(icalcomponent_get_uid(event));
  item.subject = TextOrEmpty(icalcomponent_get_summary(event));
  item.location = TextOrEmpty(icalcomponent_get_location(event));
  item.textdescription = TextOrEmpty(icalcomponent_get_description(event));
  item.busystatus = BusyStatusOf(event);
  item.sensitivity = SensitivityOf(event);
  item.alldayevent = times.all_day;
  item.dtstart = DateOfUtc(times.start);
  item.dtend = DateOfUtc(times.end);
  return item;
}

struct Occurrence {
  UtcSeconds start;
  UtcSeconds end;
  UtcSeconds recurrence_id;
  icalcomponent* event;  // the master or the override that replaces this occurrence
  ComponentTimes times;
};

// An item, parsed, with its master and overridden occurrences.
class ParsedItem {
 public:
  static Result<ParsedItem> Parse(std::string_view ics) {
    ParsedItem item;
    item.calendar_ = ical::ParseComponent(ics);
    if (!item.calendar_) return Status::Error(errors::kSyntaxError, "the item does not parse");
    for (icalcomponent* event =
             icalcomponent_get_first_component(item.calendar_.get(), ICAL_VEVENT_COMPONENT);
         event != nullptr;
         event = icalcomponent_get_next_component(item.calendar_.get(), ICAL_VEVENT_COMPONENT)) {
      const auto times = TimesOf(event, item.calendar_.get());
      if (!times) continue;
      icalproperty* rid = icalcomponent_get_first_property(event, ICAL_RECURRENCEID_PROPERTY);
      if (rid != nullptr) {
        const auto id = ical::UtcOf(icalproperty_get_recurrenceid(rid), rid, item.calendar_.get());
        if (id) item.overrides_.push_back(Occurrence{times->start, times->end, *id, event, *times});
      } else if (item.master_ == nullptr) {
        item.master_ = event;
        item.master_times_ = *times;
      }
    }
    if (item.master_ == nullptr && item.overrides_.empty()) {
      return Status::Error(errors::kSyntaxError, "the item holds no event with a DTSTART");
    }
    return item;
  }

  bool HasRules() const {
    return master_ != nullptr &&
           (icalcomponent_get_first_property(master_, ICAL_RRULE_PROPERTY) != nullptr ||
            icalcomponent_get_first_property(master_, ICAL_RDATE_PROPERTY) != nullptr);
  }
  bool Recurring() const { return HasRules() || !overrides_.empty(); }

  bool Endless() const {
    if (master_ == nullptr) return false;
    for (icalproperty* rule = icalcomponent_get_first_property(master_, ICAL_RRULE_PROPERTY);
         rule != nullptr; rule = icalcomponent_get_next_property(master_, ICAL_RRULE_PROPERTY)) {
      const icalrecurrencetype recurrence = icalproperty_get_rrule(rule);
      if (recurrence.count == 0 && icaltime_is_null_time(recurrence.until)) return true;
    }
    return false;
  }

  // The occurrences overlapping [from, until] in start order; `complete` turns false when the
  // occurrence limit cut the expansion short.
  std::vector<Occurrence> Expand(UtcSeconds from, UtcSeconds until, bool* complete) const {
    *complete = true;
    std::vector<Occurrence> result;
    std::set<UtcSeconds> overridden;
    for (const Occurrence& change : overrides_) overridden.insert(change.recurrence_id);
    if (master_ != nullptr) {
      const ComponentTimes& times = master_times_;
      std::set<UtcSeconds> starts;
      starts.insert(times.start);
      for (icalproperty* rule = icalcomponent_get_first_property(master_, ICAL_RRULE_PROPERTY);
           rule != nullptr; rule = icalcomponent_get_next_property(master_, ICAL_RRULE_PROPERTY)) {
        ical::RecurIterator iterator(
            icalrecur_iterator_new(icalproperty_get_rrule(rule), times.start_value));
        if (!iterator) continue;
        int count = 0;
        for (icaltimetype next = icalrecur_iterator_next(iterator.get());
             !icaltime_is_null_time(next); next = icalrecur_iterator_next(iterator.get())) {
          const auto start = ical::UtcOf(next, times.start_property, calendar_.get());
          if (!start || *start > until) break;
          if (++count > kMaxOccurrences) {
            *complete = false;
            break;
          }
          starts.insert(*start);
        }
      }
      for (icalproperty* rdate = icalcomponent_get_first_property(master_, ICAL_RDATE_PROPERTY);
           rdate != nullptr;
           rdate = icalcomponent_get_next_property(master_, ICAL_RDATE_PROPERTY)) {
        const icaldatetimeperiodtype value = icalproperty_get_rdate(rdate);
        const icaltimetype time =
            icaltime_is_null_time(value.time) ? value.period.start : value.time;
        if (const auto start = ical::UtcOf(time, rdate, calendar_.get())) starts.insert(*start);
      }
      for (icalproperty* exdate = icalcomponent_get_first_property(master_, ICAL_EXDATE_PROPERTY);
           exdate != nullptr;
           exdate = icalcomponent_get_next_property(master_, ICAL_EXDATE_PROPERTY)) {
        const icaltimetype time = icalproperty_get_exdate(exdate);
        const auto excluded = ical::UtcOf(time, exdate, calendar_.get());
        if (!excluded) continue;
        if (time.is_date && !times.all_day) {
          // A date excludes whatever occurrence starts on that local day.
          starts.erase(starts.lower_bound(*excluded), starts.lower_bound(*excluded + kSecondsPerDay));
        } else {
          starts.erase(*excluded);
        }
      }
      for (UtcSeconds start : starts) {
        if (overridden.count(start)) continue;
        const UtcSeconds end = EndOf(start);
        if (end < from || start > until) continue;
        result.push_back(Occurrence{start, end, start, master_, times});
      }
    }
    for (const Occurrence& change : overrides_) {
      if (change.end < from || change.start > until) continue;
      result.push_back(change);
    }
    std::stable_sort(result.begin(), result.end(),
                     [](const Occurrence& a, const Occurrence& b) { return a.start < b.start; });
    return result;
  }

  icalcomponent* master() const { return master_ != nullptr ? master_ : overrides_.front().event; }
  const ComponentTimes& master_times() const {
    return master_ != nullptr ? master_times_ : overrides_.front().times;
  }

 private:
  // An occurrence's end: all-day ones last their days in local time, others their seconds.
  UtcSeconds EndOf(UtcSeconds start) const {
    const ComponentTimes& times = master_times_;
    if (!times.all_day) return start + (times.end - times.start);
    const Date local = LocalOfUtc(start);
    return UtcOfLocalParts(local.Year(), local.Month(), local.Day() + times.all_day_length, 0, 0, 0);
  }

  ical::Component calendar_;
  icalcomponent* master_ = nullptr;
  ComponentTimes master_times_;
  std::vector<Occurrence> overrides_;
};

}  // namespace

Result<ItemSummary> SummarizeItem(std::string_view ics) {
  Result<ParsedItem> parsed = ParsedItem::Parse(ics);
  if (!parsed.ok()) return parsed.status();
  const ParsedItem& item = *parsed;
  ItemSummary summary;
  summary.master = PropertiesOf(item.master(), item.master_times());
  summary.recurring = item.Recurring();
  summary.span_start = item.master_times().start;
  summary.span_end = item.master_times().end;
  if (summary.recurring) {
    const bool endless = item.Endless();
    bool complete = true;
    const auto all = item.Expand(std::numeric_limits<UtcSeconds>::min(),
                                 endless ? summary.span_start : std::numeric_limits<UtcSeconds>::max(),
                                 &complete);
    for (const Occurrence& occurrence : all) {
      summary.span_start = std::min(summary.span_start, occurrence.start);
      summary.span_end = std::max(*summary.span_end, occurrence.end);
    }
    if (endless || !complete) summary.span_end.reset();
  }
  return summary;
}

Result<std::vector<StoreItem>> ExpandItem(std::string_view ics, UtcSeconds from, UtcSeconds until) {
  Result<ParsedItem> parsed = ParsedItem::Parse(ics);
  if (!parsed.ok()) return parsed.status();
  const ParsedItem& item = *parsed;
  std::vector<StoreItem> result;
  if (!item.Recurring()) {
    const ComponentTimes& times = item.master_times();
    if (times.end >= from && times.start <= until) {
      result.push_back(PropertiesOf(item.master(), times));
    }
    return result;
  }
  if (item.Endless()) {
    const UtcSeconds begin = std::max(from, item.master_times().start);
    if (until > begin + kEndlessHorizon) until = begin + kEndlessHorizon;
  }
  bool complete = true;
  for (const Occurrence& occurrence : item.Expand(from, until, &complete)) {
    ComponentTimes times = occurrence.times;
    times.start = occurrence.start;
    times.end = occurrence.end;
    StoreItem store_item = PropertiesOf(occurrence.event, times);
    store_item.recurrenceid = DateOfUtc(occurrence.recurrence_id);
    result.push_back(std::move(store_item));
  }
  return result;
}

}  // namespace orbitel::data
