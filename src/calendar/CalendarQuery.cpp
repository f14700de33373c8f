#include "calendar/CalendarQuery.h"

#include <cstdio>
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

std::string PeriodQuery(std::string_view period, const std::string& folder, Date range_start,
                        Date range_end) {
  std::string query = "SELECT \"DAV:href\", \"urn:schemas:httpmail:subject\",";
  if (IsPersonal(period)) query += " \"DAV:displayname\",";
  if (period == "now") query += " \"urn:schemas:calendar:busystatus\",";
  query += " \"urn:schemas:calendar:alldayevent\",";
  query += " \"urn:schemas:calendar:location\",";
  query += " \"urn:schemas:calendar:dtstart\",";
  query += " \"urn:schemas:calendar:dtend\",";
  query += " \"urn:schemas:calendar:uid\" ";
  query += " FROM scope('shallow traversal of \"" + folder + "\"')";
  query += " WHERE (\"urn:schemas:calendar:dtstart\" >=CAST(\"" +
           site::StoreDateTime(site::ToUtc(range_start)) + "\" as 'dateTime'))";
  query += " AND (\"urn:schemas:calendar:dtend\" <=CAST(\"" +
           site::StoreDateTime(site::ToUtc(range_end)) + "\" as 'dateTime'))";
  query += " AND (\"http://schemas.microsoft.com/exchange/sensitivity\" <> 2)";
  query += " AND (\"urn:schemas:calendar:busystatus\" <> 'Free')";
  return query;
}

// A field read as text, empty when the row does not have it.
std::string Text(const data::Recordset& rows, const char* property) {
  auto value = rows.Field(property);
  return value.ok() ? value->Text() : std::string();
}

Date DateField(const data::Recordset& rows, const char* property) {
  auto value = rows.Field(property);
  if (!value.ok()) return Date();
  if (const Date* date = value->AsDate()) return *date;
  return ParseDate(value->Text()).value_or(Date());
}

AppointmentRow ReadRow(const data::Recordset& rows) {
  AppointmentRow row;
  row.subject = Text(rows, "urn:schemas:httpmail:subject");
  row.all_day = ToBoolean(Text(rows, "urn:schemas:calendar:alldayevent")).value_or(false);
  const Date start_utc = DateField(rows, "urn:schemas:calendar:dtstart");
  const Date end_utc = DateField(rows, "urn:schemas:calendar:dtend");
  row.location = Text(rows, "urn:schemas:calendar:location");
  row.busy_status = Text(rows, "urn:schemas:calendar:busystatus");
  row.display_name = Text(rows, "DAV:displayname");

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

  // Every user's folder and query, handed to the store first: one across the network fetches
  // them all at once instead of one round trip after another. The loop below runs the same
  // list, in the same order.
  std::vector<data::FolderQuery> queries;
  for (int u = 0; u < grid.UserCount(); ++u) {
    const std::string& entry = grid(u, 0, 0);
    if (entry.empty()) continue;
    const std::string user_folder =
        site.StoreUrlBase + site::SplitUserEntry(entry, false) + "/calendar/";
    queries.push_back({user_folder, PeriodQuery(period, user_folder, range_start, range_end)});
  }
  const data::PrefetchScope prefetch(site::Services().providers, site.StoreProvider, queries);
  (void)data::TakeOldestMirrorRead();  // counts this page's calendars alone

  int failures = 0;
  std::string folder;
  std::size_t next_query = 0;
  for (int u = 0; u < grid.UserCount(); ++u) {
    const std::string& entry = grid(u, 0, 0);
    if (entry.empty()) continue;
    const data::FolderQuery& query = queries[next_query++];
    folder = query.folder_url;
    const std::string display_name = site::SplitUserEntry(entry, true);

    data::Connection connection(site::Services().providers);
    connection.Provider = site.StoreProvider;
    const Status opened = connection.Open(folder, "", "", -1);
    if (opened.number() == errors::kCannotOpenFolder) {
      ++failures;
      site.ErrorText += NoAccessError(display_name);
      if (failures == grid.UserCount()) site.ErrorText = AllUsersFailedError();
      continue;
    }
    if (opened.number() == errors::kProviderNotFound) {
      site.ErrorText = kProviderMissing;
      continue;
    }

    data::Recordset rows;
    const Status queried = opened.ok() ? data::OpenRecordset(rows, query.statement, connection, 1) : opened;
    if (!queried.ok() || !rows.IsOpen()) {
      site.ErrorText += NoAccessError(display_name);
      continue;
    }
    while (!rows.IsEOF()) {
      const AppointmentRow row = ReadRow(rows);
      // Each day from the start, keeping the start's time of day, up to the end: an
      // appointment ending earlier in its day than it started is not walked on its last day.
      for (Date day = row.local_start; day <= row.local_end;) {
        if (day >= calendar_date && day < end) TakeAction(grid, u, period, row, day);
        auto next = day.AddDays(1);
        if (!next.ok()) break;
        day = *next;
      }
      const Status moved = rows.MoveNext();
      if (!moved.ok()) {
        rows.Move(1);
        site::WriteErrorLog("Functions.GetUsersCalender", moved);
        break;
      }
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
