#include "views/team/AllMonth.h"

#include <string>
#include <utility>
#include <vector>

#include "calendar/CalendarQuery.h"
#include "site/AccessibleNames.h"
#include "site/Clock.h"
#include "site/DateHelpers.h"
#include "site/DateNavigation.h"
#include "site/SiteState.h"
#include "views/team/TeamRows.h"

namespace orbitel::views {

namespace {

// What every row repeats for one day of the month, made once for the page.
struct MonthDay {
  std::string busy_cell;  // a busy cell up to the user of its link
  std::string free_cell;  // a free cell, whole
  std::string spoken;     // the day as its marks' names say it
};

// The busy picture of a location cell, which the store query leaves empty or sets to "True":
// made once for each text met.
class BusyPictures {
 public:
  const std::string& Of(const std::string& location) {
    for (const auto& [text, picture] : made_) {
      if (text == location) return picture;
    }
    return made_.emplace_back(location, BusyPicture(location)).second;
  }

 private:
  std::vector<std::pair<std::string, std::string>> made_;
};

}  // namespace

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
  // The table is written straight into the page's text, grown once to about its size.
  std::size_t busy = 0;
  for (int u = 0; u < grid.UserCount(); ++u) {
    for (int d = 1; d <= days; ++d) busy += grid.IsBusy(u, d, 0) ? 1 : 0;
  }
  html.reserve(html.size() + 160 * days + grid.UserCount() * (700 + 60 * days) + busy * 300);

  html += "<table cellspacing=1 cellpadding=0 width=\"100%\" border=0><tbody><tr><td width=21></td>"
          "<td width=140></td>";
  std::vector<MonthDay> month(days + 1);
  for (int d = 1; d <= days; ++d) {
    const Date date = day_date(d);
    html.append("<td width=18 bgcolor=").append(DayHeaderColour(date, today))
        .append("><div align=\"center\"><font face=arial,helvetica size=2><a href=\"CalendarDay.asp")
        .append(site::BuildDateLinkQuery(date, ""))
        .append("\"><font color=\"#000000\">").append(std::to_string(d))
        .append("</font></a></font></div></td>");
    const char* colour = DayCellColour(date);
    month[d].busy_cell.append("<td width=18 align=center valign=middle bgcolor=").append(colour)
        .append("><a href=\"CalendarPersonalDay.asp").append(site::DateLinkQueryStart(date));
    month[d].free_cell.append("<td align=middle width=18 bgcolor=").append(colour).append(">&nbsp;</td>");
    month[d].spoken = site::SpokenDay(date);
  }
  html += "</tr>";

  BusyPictures pictures;
  for (int u = 0; u < grid.UserCount(); ++u) {
    const std::string account = site::SplitUserEntry(grid(u, 0, 0), false);
    const std::string name = site::SplitUserEntry(grid(u, 0, 0), true);
    const std::string link = site::BuildDateLinkQuery(requested, account);
    const std::string link_user = site::DateLinkUser(account);
    html += UserIconCell("21", "CalendarPersonalMonth.asp", link, name);
    html += UserNameCell("  bgcolor=\"#E5E5E5\"", "CalendarPersonalMonth.asp", link,
                         "images/dot.gif", name);
    html += "</td>";
    for (int d = 1; d <= days; ++d) {
      if (!grid.IsBusy(u, d, 0)) {
        html += month[d].free_cell;
        continue;
      }
      const std::string& location = grid(u, d, 1);
      html.append(month[d].busy_cell).append(link_user).append("\"><img height=13 src=\"")
          .append(pictures.Of(location)).append("\" width=18 border=0");
      AppendBusyMarkName(html, name, month[d].spoken, location);
      html += "></a></td>";
    }
    html += "</tr>";
  }
  html += "</tbody></table>";
}

}  // namespace orbitel::views
