#include "views/team/AllWeek.h"

#include "calendar/CalendarQuery.h"
#include "runtime/Conversions.h"
#include "site/AccessControl.h"
#include "site/AccessibleNames.h"
#include "site/Clock.h"
#include "site/DateHelpers.h"
#include "site/DateNavigation.h"
#include "site/SiteState.h"
#include "views/team/TeamRows.h"

namespace orbitel::views {

namespace {

constexpr int kSlotWidth = 8;  // percent of the day's inner table; twelve slots fill its 96

std::string FreeCell(int width) {
  return "<td width=\"" + std::to_string(width) + "%\">&nbsp;</td>";
}

// A busy run of `width` percent that ends with hour slot `last` (slot 1 is 7:00 to 8:00), in words.
std::string RunTime(Date date, int width, int last) {
  const int first = last - width / kSlotWidth + 1;
  return site::SpokenDay(date) + ", " + std::to_string(6 + first) + ":00 to " +
         std::to_string(7 + last) + ":00";
}

std::string BusyBlock(int width, const std::string& link, const std::string& location,
                      const std::string& mark_name) {
  return "<td bgcolor=\"#0066CC\" width=\"" + std::to_string(width) +
         "%\"><div align=\"center\"><a href=\"CalendarPersonalDay.asp" + link + "\"><img src=\"" +
         BusyPicture(location) + "\" width=\"" + FormatDouble(width / 12.0 * 10) +
         "\" height=\"19\" border=\"0\"" + mark_name + "></a></div></td>";
}

// The slots of one day as run-length cells. A run's location is read from the slot after it.
std::string DaySlots(const calendar::UserCalendar& grid, int u, int k, const std::string& link,
                     const std::string& person, Date date) {
  auto busy_block = [&](int width, int last, const std::string& location) {
    return BusyBlock(width, link, location,
                     BusyMarkName(person, RunTime(date, width, last), location));
  };
  std::string html;
  bool in_busy_run = false;
  int run_width = 0;
  for (int s = 1; s <= 12; ++s) {
    const bool busy = grid.IsBusy(u, k, s);
    if (!busy && in_busy_run) {
      html += busy_block(run_width, s - 1, grid(u, k, s + 23));
      run_width = kSlotWidth;
      in_busy_run = false;
    } else if (!busy) {
      run_width += kSlotWidth;
    } else if (in_busy_run || s == 1) {
      run_width += kSlotWidth;
      in_busy_run = true;
    } else {
      html += FreeCell(run_width);
      run_width = kSlotWidth;
      in_busy_run = true;
    }
  }
  html += in_busy_run ? busy_block(run_width, 12, grid(u, k, 36)) : FreeCell(run_width);
  return html;
}

}  // namespace

AllWeek::AllWeek() : DatedPage({"CalendarWeek.asp", site::DateStep::kWeek, 1}) {}

void AllWeek::ValidateUserAccess(std::string_view is_user_list) {
  if (is_user_list == "True") site::CheckAccess(site::kUserLevel, "CalendarUserList.asp");
  if (is_user_list == "False") CheckPageAccess();
}

void AllWeek::GenerateUserList() {
  const site::UserList users = LoadTeam();
  const Date requested = site::RequestedDateValue();
  std::string& html = site::Site().CalendarHtml;
  html += "<table width=\"280\" cellpadding=\"0\" cellspacing=\"1\"><tr><td width=\"21\"></td>"
          "<td width=\"259\"></td></tr>";
  for (const std::string& entry : users) {
    const std::string link =
        site::BuildDateLinkQuery(requested, site::SplitUserEntry(entry, false));
    const std::string name = site::SplitUserEntry(entry, true);
    html += UserIconCell("21", "CalendarPersonalWeek.asp", link, name);
    html += UserNameCell(" width=\"259\" bgcolor=\"#E5E5E5\"", "CalendarPersonalWeek.asp", link,
                         "dot.gif", name);
  }
  html += "</table>";
}

void AllWeek::GenerateCalendar() {
  const site::UserList users = LoadTeam();
  calendar::UserCalendar grid(users, 8, 36);
  const Date requested = site::RequestedDateValue();
  const Date week_start = site::WeekStart(requested);
  calendar::GetUsersCalender(grid, week_start, "7");
  const Date today = site::Today();
  auto day_date = [&week_start](int k) { return week_start.AddDays(k - 1).value_or(week_start); };

  std::string& html = site::Site().CalendarHtml;
  html += "<table width=\"830\" cellpadding=\"0\" cellspacing=\"1\"><tr><td width=\"21\"></td>"
          "<td width=\"249\"></td>";
  for (int k = 1; k <= 7; ++k) {
    const Date date = day_date(k);
    html += "<td width=\"80\" bgcolor=\"" + std::string(DayHeaderColour(date, today)) +
            "\"><div align=\"center\"><a href=\"CalendarDay.asp" +
            site::BuildDateLinkQuery(date, "") +
            "\"><font face=\"Verdana, Arial, Helvetica, sans-serif\" size=\"1\" "
            "color=\"#000000\">" +
            site::DayName(date, 2) + " " + std::to_string(date.Day()) +
            "</font></a></div></td>";
  }
  html += "</tr>";

  for (int u = 0; u < grid.UserCount(); ++u) {
    const std::string account = site::SplitUserEntry(grid(u, 0, 0), false);
    const std::string name = site::SplitUserEntry(grid(u, 0, 0), true);
    const std::string link = site::BuildDateLinkQuery(requested, account);
    html += UserIconCell("21", "CalendarPersonalWeek.asp", link, name);
    html += UserNameCell(" width=\"249\" bgcolor=\"#E5E5E5\"", "CalendarPersonalWeek.asp", link,
                         "dot.gif", name);
    for (int k = 1; k <= 7; ++k) {
      const Date date = day_date(k);
      html += "</td><td width=\"80\" bgcolor=\"" + std::string(DayCellColour(date)) +
              "\"><center><table width=\"96%\" border=\"0\" cellspacing=\"0\" cellpadding=\"0\">"
              "<tr>" +
              DaySlots(grid, u, k, site::BuildDateLinkQuery(date, account), name, date) +
              "</tr></table></center>";
    }
  }
  html += "</table>";
}

}  // namespace orbitel::views
