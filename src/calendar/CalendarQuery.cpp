#include "calendar/CalendarQuery.h"

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "caldav/MirroredFolder.h"
#include "calendar/AppointmentBlock.h"
#include "calendar/AppointmentRow.h"
#include "calendar/SlotFilling.h"
#include "runtime/Conversions.h"
#include "runtime/DateText.h"
#include "runtime/ErrorNumbers.h"
#include "runtime/TextCoding.h"
#include "site/Clock.h"
#include "site/DateHelpers.h"
#include "site/DateNavigation.h"
#include "site/ErrorHtml.h"
#include "site/ErrorLog.h"
#include "site/SiteServices.h"
#include "site/SiteState.h"
#include "site/TimeZone.h"
#include "site/UserList.h"
#include "store/Connection.h"
#include "store/StoreProvider.h"
#include "store/StoreTime.h"

namespace orbitel::calendar {

namespace {

using site::Site;
using site::ToLocal;

constexpr double kMinute = 1.0 / (24 * 60);
constexpr data::UtcSeconds kSecondsADay = 24 * 60 * 60;

std::string AllUsersFailedError() {
  return site::ErrorHtml(
      "Orbitel could not query the exchange store. The possible reasons are:<br>* Orbitel is not "
      "running on the same computer as exchange is installed on<br>* The method you are "
      "connecting to exchange is incorrect. Please go to the <a href=\"CalendarOptions.asp\">"
      "Calendar Options</a> and try a different Exchange Connection Method. Also have a look at "
      "this <a href=\"help/webdav.html\">Knowledge Base article</a> on problems with WebDav "
      "method.<br>* There are insignificant permissions for the User running this page in IIS to "
      "query the exchange store. Pick one user from the list below and give Everyone full "
      "mailbox access to this user. (this will see if the User running this page has the correct "
      "permissions)");
}

constexpr const char* kProviderMissing =
    "The 'Exoledb.DataSource' provider cannot be found on this computer. Please make sure that "
    "you are running this from the Exchange Server";

bool IsPersonal(std::string_view period) {
  return period == "Per1" || period == "Per7" || period == "Per31";
}

// The period query on one folder; the range's ends as the store's date texts, the same for
// every folder of the page.
std::string PeriodQuery(std::string_view period, const std::string& folder,
                        const std::string& range_start, const std::string& range_end) {
  std::string query = "SELECT \"DAV:href\", \"urn:schemas:httpmail:subject\",";
  if (IsPersonal(period)) query += " \"DAV:displayname\",";
  if (period == "now") query += " \"urn:schemas:calendar:busystatus\",";
  query += " \"urn:schemas:calendar:alldayevent\",";
  query += " \"urn:schemas:calendar:location\",";
  query += " \"urn:schemas:calendar:dtstart\",";
  query += " \"urn:schemas:calendar:dtend\",";
  query += " \"urn:schemas:calendar:uid\" ";
  query += " FROM scope('shallow traversal of \"" + folder + "\"')";
  query += " WHERE (\"urn:schemas:calendar:dtstart\" >=CAST(\"" + range_start + "\" as 'dateTime'))";
  query += " AND (\"urn:schemas:calendar:dtend\" <=CAST(\"" + range_end + "\" as 'dateTime'))";
  query += " AND (\"http://schemas.microsoft.com/exchange/sensitivity\" <> 2)";
  query += " AND (\"urn:schemas:calendar:busystatus\" <> 'Free')";
  return query;
}

// Where the fields a row is read by stand in a recordset, found once for all its rows; a field
// the recordset does not have reads as empty.
struct RowColumns {
  explicit RowColumns(const data::Recordset& rows)
      : subject(rows.FieldIndex("urn:schemas:httpmail:subject")),
        all_day(rows.FieldIndex("urn:schemas:calendar:alldayevent")),
        start(rows.FieldIndex("urn:schemas:calendar:dtstart")),
        end(rows.FieldIndex("urn:schemas:calendar:dtend")),
        location(rows.FieldIndex("urn:schemas:calendar:location")),
        busy_status(rows.FieldIndex("urn:schemas:calendar:busystatus")),
        display_name(rows.FieldIndex("DAV:displayname")) {}

  std::optional<std::size_t> subject, all_day, start, end, location, busy_status, display_name;
};

// A field read as text, empty when the row does not have it.
std::string Text(const std::vector<Value>& row, std::optional<std::size_t> column) {
  if (!column) return std::string();
  const Value& value = row[*column];
  if (const std::string* text = value.AsText()) return *text;
  return value.Text();
}

Date DateField(const std::vector<Value>& row, std::optional<std::size_t> column) {
  if (!column) return Date();
  const Value& value = row[*column];
  if (const Date* date = value.AsDate()) return *date;
  return ParseDate(value.Text()).value_or(Date());
}

// Read as text first and then converted, as every field is; a Boolean's text converts back
// to itself.
bool BooleanField(const std::vector<Value>& row, std::optional<std::size_t> column) {
  if (!column) return false;
  const Value& value = row[*column];
  if (const bool* flag = value.AsBoolean()) return *flag;
  return ToBoolean(value.Text()).value_or(false);
}

AppointmentRow ReadRow(const std::vector<Value>& fields, const RowColumns& columns) {
  AppointmentRow row;
  row.subject = Text(fields, columns.subject);
  row.all_day = BooleanField(fields, columns.all_day);
  const Date start_utc = DateField(fields, columns.start);
  const Date end_utc = DateField(fields, columns.end);
  row.location = Text(fields, columns.location);
  row.busy_status = Text(fields, columns.busy_status);
  row.display_name = Text(fields, columns.display_name);

  row.local_start = ToLocal(start_utc);
  // An all-day appointment ending at midnight ends on its last day, not the next one.
  row.local_end = (row.all_day && end_utc.Minute() != 59)
                      ? ToLocal(Date(end_utc.serial() - kMinute))
                      : ToLocal(end_utc);
  if (row.subject.empty()) row.subject = "-=No Subject=-";
  return row;
}

// The period's action for day D of the row.
void TakeAction(UserCalendar& grid, int u, std::string_view period, const AppointmentRow& row,
                Date day) {
  if (period == "1") {
    SetCalHoursForOneDays(grid, u, row, day);
  } else if (period == "7") {
    SetCalHoursForSevenDays(grid, u, row, day);
  } else if (period == "31") {
    std::string& mark = grid(u, day.Day(), 0);
    if (day.DatePart() == row.local_end.DatePart() && row.local_end.Hour() == 0) {
      if (mark != "True") mark = "False";
    } else {
      mark = "True";
      if (!row.location.empty()) grid(u, day.Day(), 1) = "True";
    }
  } else if (period == "now") {
    const int hour = site::Now().Hour();
    if (row.local_start.Hour() <= hour && row.local_end.Hour() >= hour) {
      grid(u, 1, 0) = row.busy_status;
    }
  } else if (period == "Per1") {
    SetCalHoursForPer(grid, row, day, 1);
  } else if (period == "Per7") {
    SetCalHoursForPer(grid, row, day, day.IsoWeekday());
  } else if (period == "Per31") {
    SetCalHoursForPer(grid, row, day, day.Day());
  }
}

}  // namespace

std::string CalendarsAsOf(Date local) {
  char time[8];
  std::snprintf(time, sizeof time, "%d:%02d", local.Hour(), local.Minute());
  return std::string("<p class=\"calendars-as-of\">Calendars as of ") + time + "</p>";
}

std::string NoAccessError(std::string_view user) {
  return site::ErrorHtml("Orbitel does not have access to " + HtmlEscape(user) +
                         "'s Exchange calendar. Please <a href=\"help/permissions.html\">enable "
                         "permissions</a> or go to the <a href=\"CalendarOptions.asp\">Calendar "
                         "options</a> and remove this user.");
}

void GetUsersCalender(UserCalendar& grid, Date calendar_date, std::string_view period) {
  site::SiteState& site = Site();
  if (!site.SettingsLoaded) {
    site.ErrorText = site::NoDomainError();
    return;
  }

  const Date range_start = calendar_date.AddDays(-7).value_or(calendar_date);
  Date end = calendar_date.AddDays(1).value_or(calendar_date);
  if (period == "7" || period == "Per7") end = end.AddDays(6).value_or(end);
  if (period == "31" || period == "Per31") {
    // February is measured in the year before, so a leap year's range is a day shorter.
    const Date next = site::RequestedDateValue().AddDays(1).value_or(end);
    end = end.AddDays(site::DaysInMonth(next.Month(), next.Year() - 1)).value_or(end);
  }
  const Date range_end = end.AddDays(7).value_or(end);

  const std::string start_text = site::StoreDateTime(site::ToUtc(range_start));
  const std::string end_text = site::StoreDateTime(site::ToUtc(range_end));
  // Every user's folder and query, handed to the store at once: the local store reads a
  // domain's folders in one go, a store across the network fetches them all at the same time.
  // The answers come back in the grid's order, as one query after another would give them.
  std::vector<data::FolderQuery> queries;
  std::vector<int> users;  // the grid row of each query
  for (int u = 0; u < grid.UserCount(); ++u) {
    const std::string& entry = grid(u, 0, 0);
    if (entry.empty()) continue;
    const std::string user_folder =
        site.StoreUrlBase + site::SplitUserEntry(entry, false) + "/calendar/";
    queries.push_back({user_folder, PeriodQuery(period, user_folder, start_text, end_text)});
    users.push_back(u);
  }
  // Only appointments with a day walked inside [calendar_date, end) do anything; a day's margin
  // either side keeps every one of them whatever the all-day rules and time zone make of it.
  data::ReadNeeds needs;
  needs.from = data::UtcOfDate(site::ToUtc(calendar_date)) - kSecondsADay;
  needs.until = data::UtcOfDate(site::ToUtc(end)) + kSecondsADay;
  // The personal views link each appointment by its name; the team views never read names.
  needs.names = IsPersonal(period);
  (void)data::TakeOldestMirrorRead();  // counts this page's calendars alone

  int failures = 0;
  std::string folder;
  const auto answered = [&](std::size_t k, data::FolderAnswer& answer) {
    const int u = users[k];
    folder = queries[k].folder_url;
    const std::string display_name = site::SplitUserEntry(grid(u, 0, 0), true);
    if (answer.opened.number() == errors::kCannotOpenFolder) {
      ++failures;
      site.ErrorText += NoAccessError(display_name);
      if (failures == grid.UserCount()) site.ErrorText = AllUsersFailedError();
      return;
    }
    if (answer.opened.number() == errors::kProviderNotFound) {
      site.ErrorText = kProviderMissing;
      return;
    }
    const Status& queried = answer.opened.ok() ? answer.queried : answer.opened;
    if (!queried.ok() || !answer.rows.IsOpen()) {
      site.ErrorText += NoAccessError(display_name);
      return;
    }
    const RowColumns columns(answer.rows);
    for (const std::vector<Value>& fields : answer.rows.rows()) {
      const AppointmentRow row = ReadRow(fields, columns);
      // Each day from the start, keeping the start's time of day, up to the end: an
      // appointment ending earlier in its day than it started is not walked on its last day.
      for (Date day = row.local_start; day <= row.local_end;) {
        if (day >= calendar_date && day < end) TakeAction(grid, u, period, row, day);
        auto next = day.AddDays(1);
        if (!next.ok()) break;
        day = *next;
      }
    }
  };
  Result<std::shared_ptr<const data::StoreProvider>> provider = site::Services().providers.Find(site.StoreProvider);
  if (provider.ok()) {
    (*provider)->ReadFolders(queries, needs, answered);
  } else {
    // Every user's connection names the same unknown provider.
    for (std::size_t k = 0; k < queries.size(); ++k) {
      data::FolderAnswer answer;
      answer.opened = provider.status();
      answered(k, answer);
    }
  }
  if (!site.ErrorText.empty()) {
    site::WriteErrorLog("Functions.GetUsersCalender", "0", "",
                        "Connection URI: " + folder + "\r\n" + "Problem: " + site.ErrorText);
  }
  // Calendars read from a mirror that has not been brought in step for two refresh intervals
  // (the server not answering, say) are shown as they were then, and the page says since when.
  // Not an error of the page's, so not logged as one.
  if (const auto oldest = data::TakeOldestMirrorRead()) {
    const data::UtcSeconds now = data::UtcOfDate(site::ToUtc(site::Now()));
    if (now - *oldest > 2 * static_cast<data::UtcSeconds>(site.MirrorInterval)) {
      site.ErrorText += CalendarsAsOf(data::LocalOfUtc(*oldest));
    }
  }
}

}  // namespace orbitel::calendar
