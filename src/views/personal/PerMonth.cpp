#include "views/personal/PerMonth.h"

#include "site/Clock.h"
#include "site/DateHelpers.h"
#include "site/DateNavigation.h"
#include "site/SiteState.h"

namespace orbitel::views {

namespace {

constexpr const char* kBlankCell = "<td>&nbsp;</td>";

// The today colour compares each heading's own date.
const char* HeadingColour(Date date) {
  if (date.IsoWeekday() > 5) return "#999999";
  if (date == site::Today()) return "#ff0000";
  return "#e5e5e5";
}

const char* BodyColour(Date date) { return date.IsoWeekday() > 5 ? "#CCCCCC" : "#f7f7f7"; }

}  // namespace

PerMonth::PerMonth() : PersonalPage({"CalendarPersonalMonth.asp", site::DateStep::kMonth, 1}) {}

void PerMonth::GenerateCalendar() {
  const Date requested = site::RequestedDateValue();
  const Date first_day = requested.AddDays(1 - requested.Day()).value_or(requested);
  const int days_in_month = site::DaysInMonth(requested.Month(), requested.Year());
  const calendar::UserCalendar grid = LoadPersonalCalendar(31, first_day, "Per31");
  auto day_of = [&first_day](int n) { return first_day.AddDays(n - 1).value_or(first_day); };

  std::string& html = site::Site().CalendarHtml;
  html += "<p><font face=\"Verdana, Arial, Helvetica, sans-serif\" color=#666666 size=3><b>" +
          ShownUser(grid) + " - Month of " + site::MonthName(requested) +
          "</b></font><br></p><table cellspacing=1 cellpadding=0 width=\"100%\" border=0><tbody>";
  for (int start = 1; start <= days_in_month; start += 7) {
    html += "<tr>";
    for (int n = start; n < start + 7; ++n) {
      if (n > days_in_month) {
        html += kBlankCell;
        continue;
      }
      const Date day = day_of(n);
      html += "<td valign=\"top\" width=125 bgcolor=" + std::string(HeadingColour(day)) +
              "><div align=\"center\"><font face=\"Verdana, Arial, Helvetica, sans-serif\" "
              "color=#000099 size=\"1\"><a href=\"CalendarPersonalDay.asp" +
              site::BuildDateLinkQuery(day, "") + "\"><font color=\"#000000\">" +
              site::DayName(day, 2) + " " + std::to_string(n) + "</font></a></font></div></td>";
    }
    html += "</tr><tr>";
    for (int n = start; n < start + 7; ++n) {
      if (n > days_in_month) {
        html += kBlankCell;
      } else if (!grid(0, n, 0).empty()) {
        html += "<td valign=\"top\" align=middle width=125 bgcolor=" + std::string(BodyColour(day_of(n))) +
                "><font face=\"Verdana, Arial, Helvetica, sans-serif\" color=#000099 size=\"1\">" +
                grid(0, n, 0) + "</font></td>";
      } else {
        html += "<td align=middle width=125 bgcolor=" + std::string(BodyColour(day_of(n))) + ">&nbsp;</td>";
      }
    }
    html += "</tr>";
  }
  html += "</tbody></table>";
}

}  // namespace orbitel::views
