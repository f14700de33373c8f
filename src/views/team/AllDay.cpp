#include "views/team/AllDay.h"

#include "calendar/CalendarQuery.h"
#include "site/AccessibleNames.h"
#include "site/Clock.h"
#include "site/DateNavigation.h"
#include "site/SiteState.h"
#include "views/team/TeamRows.h"

namespace orbitel::views {

namespace {

constexpr const char* kFreeSlot = "<td width=\"25\" bgcolor=\"#BBBBBB\">&nbsp;</td>";

// "9:30": the time at the start of a half-hour slot, slot 1 being 7:00.
std::string SlotTime(int slot) {
  const int minutes = 7 * 60 + (slot - 1) * 30;
  return std::to_string(minutes / 60) + ":" + (minutes % 60 == 0 ? "00" : "30");
}

// One cell spanning a busy run that ends before slot `next`; 26 pixels a slot: 25 for the cell,
// 1 for the spacing.
std::string BusyCell(int run, int next, const std::string& link, const std::string& location,
                     const std::string& name) {
  const std::string when = SlotTime(next - run) + " to " + SlotTime(next);
  return "<td width=\"25\" colspan=\"" + std::to_string(run) +
         "\" bgcolor=\"#0066CC\"><div align=\"center\"><a href=\"CalendarPersonalDay.asp" + link +
         "\"><img src=\"" + BusyPicture(location) + "\" width=\"" + std::to_string(run * 26) +
         "\" height=\"19\" border=\"0\"" + BusyMarkName(name, when, location) + "></a></div></td>";
}

}  // namespace

AllDay::AllDay() : DatedPage({"CalendarDay.asp", site::DateStep::kDay, 1}) {}

void AllDay::GenerateCalendar() {
  const site::UserList users = LoadTeam();
  calendar::UserCalendar grid(users, 3, 24);
  const Date requested = site::RequestedDateValue();
  calendar::GetUsersCalender(grid, requested, "1");

  const std::string colour = requested == site::Today() ? " bgcolor=\"#FF0000\""
                                                        : " bgcolor=\"#f7f7f7\"";
  std::string& html = site::Site().CalendarHtml;
  html += "<table width=\"825\" cellpadding = \"0\" cellspacing=\"1\"><tr><td width=\"15\"></td>"
          "<td width=\"185\"></td>";
  for (int hour = 7; hour <= 18; ++hour) {
    html += "<td width=\"51\" colspan=\"2\"" + colour +
            "><font face=\"Verdana, Arial, Helvetica, sans-serif\" size=\"1\">" +
            std::to_string(hour) + ":00</font></td>";
  }
  html += "</tr>";

  for (int u = 0; u < grid.UserCount(); ++u) {
    const std::string account = site::SplitUserEntry(grid(u, 0, 0), false);
    const std::string name = site::SplitUserEntry(grid(u, 0, 0), true);
    const std::string link = site::BuildDateLinkQuery(requested, account);
    html += UserIconCell("15", "CalendarPersonalDay.asp", link, name);
    html += UserNameCell(" width=\"185\" bgcolor=\"#E5E5E5\"", "CalendarPersonalDay.asp", link,
                         "images/dot.gif", name) +
            "</td>";
    int run = 0;
    for (int s = 1; s <= 24; ++s) {
      if (grid.IsBusy(u, 1, s)) {
        ++run;
        continue;
      }
      // The run's picture follows the location of its last slot.
      if (run > 0) html += BusyCell(run, s, link, grid(u, 3, s - 1), name);
      run = 0;
      html += kFreeSlot;
    }
    if (run > 0) html += BusyCell(run, 25, link, grid(u, 3, 24), name);
    html += "</tr>";
  }
  html += "</table>";
}

}  // namespace orbitel::views
