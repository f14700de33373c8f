#include "views/team/AllMonth.h"

#include "calendar/CalendarQuery.h"
#include "site/AccessibleNames.h"
#include "site/Clock.h"
#include "site/DateHelpers.h"
#include "site/DateNavigation.h"
#include "site/SiteState.h"
#include "views/team/TeamRows.h"

namespace orbitel::views {

AllMonth::AllMonth() : DatedPage({"CalendarMonth.asp", site::DateStep::kMonth, 1}) {}

void AllMonth::GenerateCalendar() {
  const site::UserList users = LoadTeam();
  calendar::UserCalendar grid(users, 31, 1);

  const Date requested = site::RequestedDateValue();
  const Date first = requested.AddDays(-(requested.Day() - 1)).value_or(requested);
  calendar::GetUsersCalender(grid, first, "31");
  const int days = site::DaysInMonth(requested.Month(), requested.Year());
  const Date today = site::Today();
  auto day_date = [&first](int d) { return first.AddDays(d - 1).value_or(first); };

  std::string& html = site::Site().CalendarHtml;
  html += "<table cellspacing=1 cellpadding=0 width=\"100%\" border=0><tbody><tr><td width=21></td>"
          "<td width=140></td>";
  for (int d = 1; d <= days; ++d) {
    const Date date = day_date(d);
    html += "<td width=18 bgcolor=" + std::string(DayHeaderColour(date, today)) +
            "><div align=\"center\"><font face=arial,helvetica size=2><a href=\"CalendarDay.asp" +
            site::BuildDateLinkQuery(date, "") + "\"><font color=\"#000000\">" +
            std::to_string(d) + "</font></a></font></div></td>";
  }
  html += "</tr>";

  for (int u = 0; u < grid.UserCount(); ++u) {
    const std::string account = site::SplitUserEntry(grid(u, 0, 0), false);
    const std::string name = site::SplitUserEntry(grid(u, 0, 0), true);
    const std::string link = site::BuildDateLinkQuery(requested, account);
    html += UserIconCell("21", "CalendarPersonalMonth.asp", link, name);
    html += UserNameCell("  bgcolor=\"#E5E5E5\"", "CalendarPersonalMonth.asp", link,
                         "images/dot.gif", name) +
            "</td>";
    for (int d = 1; d <= days; ++d) {
      const Date date = day_date(d);
      const std::string colour = DayCellColour(date);
      if (grid.IsBusy(u, d, 0)) {
        html += "<td width=18 align=center valign=middle bgcolor=" + colour +
                "><a href=\"CalendarPersonalDay.asp" + site::BuildDateLinkQuery(date, account) +
                "\"><img height=13 src=\"" + BusyPicture(grid(u, d, 1)) +
                "\" width=18 border=0" + BusyMarkName(name, site::SpokenDay(date), grid(u, d, 1)) +
                "></a></td>";
      } else {
        html += "<td align=middle width=18 bgcolor=" + colour + ">&nbsp;</td>";
      }
    }
    html += "</tr>";
  }
  html += "</tbody></table>";
}

}  // namespace orbitel::views
