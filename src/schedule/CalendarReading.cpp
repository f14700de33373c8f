#include "schedule/CalendarReading.h"

#include <algorithm>
#include <cmath>

#include "runtime/Conversions.h"
#include "runtime/DateText.h"
#include "runtime/ErrorNumbers.h"
#include "site/DateHelpers.h"
#include "site/SiteServices.h"
#include "site/SiteState.h"
#include "store/Connection.h"
#include "store/StoreProvider.h"

namespace orbitel::schedule {

namespace {

// The store answers a period query with the items lying wholly inside it; an appointment that
// begins before the span asked for or ends after it must still block the span, so the query
// reaches this far to each side and the overlap is kept here. Twice the team pages' week: an
// appointment running more than two weeks past either end of the span is not seen. The local
// store leaves out of its answers what the reach brings in that does not overlap the span.
constexpr UtcSeconds kReach = 14 * 86400;

// The selected columns, in the order ReadItem reads them.
enum Column { kStart, kEnd, kAllDay, kBusy, kSensitivity, kSubject, kLocation, kUid, kRecurrence, kDescription };

std::string PeriodQuery(const std::string& folder, UtcSeconds from, UtcSeconds until, bool with_details) {
  std::string query =
      "SELECT \"urn:schemas:calendar:dtstart\", \"urn:schemas:calendar:dtend\", "
      "\"urn:schemas:calendar:alldayevent\", \"urn:schemas:calendar:busystatus\", "
      "\"http://schemas.microsoft.com/exchange/sensitivity\", \"urn:schemas:httpmail:subject\", "
      "\"urn:schemas:calendar:location\", \"urn:schemas:calendar:uid\", "
      "\"urn:schemas:calendar:recurrenceid\"";
  if (with_details) query += ", \"urn:schemas:httpmail:textdescription\"";
  query += " FROM scope('shallow traversal of \"" + folder + "\"')";
  query += " WHERE (\"urn:schemas:calendar:dtstart\" >= CAST(\"" +
           site::StoreDateTime(data::DateOfUtc(from - kReach)) + "\" as 'dateTime'))";
  query += " AND (\"urn:schemas:calendar:dtend\" <= CAST(\"" +
           site::StoreDateTime(data::DateOfUtc(until + kReach)) + "\" as 'dateTime'))";
  query += " ORDER BY \"urn:schemas:calendar:dtstart\"";
  return query;
}

std::optional<UtcSeconds> Moment(const Value& value) {
  if (const Date* date = value.AsDate()) return data::UtcOfDate(*date);
  if (value.IsEmpty()) return std::nullopt;
  auto parsed = ParseDate(value.Text());
  if (!parsed.ok()) return std::nullopt;
  return data::UtcOfDate(*parsed);
}

ScheduleItem ReadItem(const std::vector<Value>& row, bool with_details) {
  ScheduleItem item;
  item.start = Moment(row[kStart]).value_or(0);
  item.end = std::max(item.start, Moment(row[kEnd]).value_or(item.start));
  if (const bool* flag = row[kAllDay].AsBoolean()) {
    item.all_day = *flag;
  } else {
    item.all_day = ToBoolean(row[kAllDay].Text()).value_or(false);
  }
  item.busy_status = ToUpper(row[kBusy].Text());
  if (const double* number = row[kSensitivity].AsNumber()) {
    item.sensitivity = static_cast<int>(std::lround(*number));
  } else {
    item.sensitivity = std::atoi(row[kSensitivity].Text().c_str());
  }
  item.subject = row[kSubject].Text();
  item.location = row[kLocation].Text();
  item.uid = row[kUid].Text();
  item.recurrence_id = Moment(row[kRecurrence]);
  if (with_details) item.description = row[kDescription].Text();
  return item;
}

}  // namespace

std::vector<Result<std::vector<ScheduleItem>>> ReadCalendars(const std::vector<std::string>& accounts,
                                                             UtcSeconds from, UtcSeconds until,
                                                             bool with_details) {
  const site::SiteState& site = site::Site();
  std::vector<data::FolderQuery> queries;
  queries.reserve(accounts.size());
  for (const std::string& account : accounts) {
    const std::string folder = site.StoreUrlBase + account + "/calendar/";
    queries.push_back({folder, PeriodQuery(folder, from, until, with_details)});
  }
  std::vector<Result<std::vector<ScheduleItem>>> calendars;
  calendars.reserve(accounts.size());
  const auto answered = [&](std::size_t, data::FolderAnswer& answer) {
    const Status& failed = answer.opened.ok() ? answer.queried : answer.opened;
    if (!failed.ok()) {
      calendars.emplace_back(failed);
      return;
    }
    std::vector<ScheduleItem> items;
    for (const std::vector<Value>& row : answer.rows.rows()) {
      ScheduleItem item = ReadItem(row, with_details);
      // Overlapping the span; an appointment of no length counts at its moment.
      if (item.start < until && (item.end > from || (item.end == item.start && item.start >= from))) {
        items.push_back(std::move(item));
      }
    }
    calendars.emplace_back(std::move(items));
  };
  // Read as the team pages read, all at once; what the reach brings in beyond the span is kept
  // out of the answers where the store can.
  Result<std::shared_ptr<const data::StoreProvider>> provider = site::Services().providers.Find(site.StoreProvider);
  if (!provider.ok()) {
    for (std::size_t i = 0; i < queries.size(); ++i) calendars.emplace_back(provider.status());
    return calendars;
  }
  (*provider)->ReadFolders(queries, data::ReadNeeds{from, until}, answered);
  return calendars;
}

}  // namespace orbitel::schedule
