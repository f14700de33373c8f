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
// appointment running more than two weeks past either end of the span is not seen. Each day of
// reach is read for every person, so for a whole team it is most of the search's cost.
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
  // A store across the network is asked for every calendar at once, as the team pages do.
  const data::PrefetchScope prefetch(site::Services().providers, site.StoreProvider, queries);

  std::vector<Result<std::vector<ScheduleItem>>> calendars;
  calendars.reserve(accounts.size());
  for (const data::FolderQuery& query : queries) {
    data::Connection connection(site::Services().providers);
    connection.Provider = site.StoreProvider;
    Status status = connection.Open(query.folder_url, "", "", -1);
    data::Recordset rows;
    if (status.ok()) status = data::OpenRecordset(rows, query.statement, connection, 1);
    if (!status.ok()) {
      calendars.emplace_back(status);
      continue;
    }
    std::vector<ScheduleItem> items;
    for (const std::vector<Value>& row : rows.rows()) {
      ScheduleItem item = ReadItem(row, with_details);
      // Overlapping the span; an appointment of no length counts at its moment.
      if (item.start < until && (item.end > from || (item.end == item.start && item.start >= from))) {
        items.push_back(std::move(item));
      }
    }
    calendars.emplace_back(std::move(items));
  }
  return calendars;
}

}  // namespace orbitel::schedule
