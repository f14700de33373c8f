#include "views/personal/PerWeek.h"

#include "site/Clock.h"
#include "site/DateHelpers.h"
#include "site/DateNavigation.h"
#include "site/SiteState.h"

namespace orbitel::views {

namespace {

const char* HeaderColour(Date date) {
  if (date.IsoWeekday() > 5) return "#999999";
  if (date == site::Today()) return "#FF0000";
  return "#bbbbbb";
}

}  // namespace

PerWeek::PerWeek() : PersonalPage({"CalendarPersonalWeek.asp", site::DateStep::kWeek, 1}) {}

void PerWeek::GenerateCalendar() {
  const Date week_start = site::WeekStart(site::RequestedDateValue());
  const calendar::UserCalendar grid = LoadPersonalCalendar(8, week_start, "Per7");
  auto day_of = [&week_start](int i) { return week_start.AddDays(i - 1).value_or(week_start); };

  std::string& html = site::Site().CalendarHtml;
  html += "<p><font face=verdana,helvetica color=#666666 size=3><b>&nbsp;" + ShownUser(grid) +
          " - Week Commencing " + std::to_string(week_start.Day()) + "/" +
          std::to_string(week_start.Month()) + "/" + std::to_string(week_start.Year()) +
          "</b></font></p>";
  html += "<table cellspacing=1 cellpadding=3 border=0><tbody><tr><td width=5></td>";
  for (int i = 1; i <= 7; ++i) {
    const Date day = day_of(i);
    html += "<td bgcolor=\"" + std::string(HeaderColour(day)) +
            "\"><center><a href=\"CalendarPersonalDay.asp" + site::BuildDateLinkQuery(day, "") +
            "\"><font face=\"Verdana, Arial, Helvetica, sans-serif\" size=\"1\" color=\"#000000\">" +
            site::DayName(day, 2) + " " + std::to_string(day.Day()) + "</font></center></a></td>";
  }
  html += "</tr><tr><td width=5></td>";
  for (int i = 1; i <= 7; ++i) {
    // The stray "=" after the width is part of this table's settled markup.
    html += "<td valign=\"top\" width=125 = bgcolor=#e5e5e5><font face=\"Verdana, Arial, Helvetica, "
            "sans-serif\" color=#000099 size=\"1\">" + grid(0, i, 0) + "</font>&nbsp;</td>";
  }
  html += "</tr></tbody></table>";
}

}  // namespace orbitel::views
