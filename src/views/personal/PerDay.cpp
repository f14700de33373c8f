#include "views/personal/PerDay.h"

#include "site/Clock.h"
#include "site/DateHelpers.h"
#include "site/DateNavigation.h"
#include "site/SiteState.h"

namespace orbitel::views {

namespace {

// The header colours carry a trailing blank: the next piece starts with "width".
const char* HeaderColour(Date date) {
  if (date.IsoWeekday() > 5) return "#999999 ";
  if (date == site::Today()) return "#ff0000 ";
  return "#CCCCCC ";
}

std::string LastTwo(int number) {
  const std::string text = std::to_string(number);
  return text.size() > 2 ? text.substr(text.size() - 2) : text;
}

}  // namespace

PerDay::PerDay() : PersonalPage({"CalendarPersonalDay.asp", site::DateStep::kDay, 1}) {}

void PerDay::GenerateCalendar() {
  const Date date = site::RequestedDateValue();
  const calendar::UserCalendar grid = LoadPersonalCalendar(2, date, "Per1");
  const std::string day = std::to_string(date.Day());
  const std::string month = std::to_string(date.Month());

  std::string& html = site::Site().CalendarHtml;
  html += "<p><font face=verdana,helvetica color=#666666 size=3><b>&nbsp;" + ShownUser(grid) + " - " +
          day + "/" + month + "/" + std::to_string(date.Year()) + "</b></font></p>";
  html += "<table cellspacing=1 cellpadding=3 width=\"100%\" border=0><tbody><tr><td width=8></td>"
          "<td class=days bgcolor=" + std::string(HeaderColour(date)) +
          "width=\"*\"><font face=\"Verdana, Arial, Helvetica, sans-serif\" size=2 ,helvetica>" +
          site::DayName(date, 2) + ", " + day + "/" + month + "/" + LastTwo(date.Year()) +
          "</font></td></tr>";
  html += "<tr><td width=8></td><td valign=top bgcolor=" +
          std::string(date.IsoWeekday() > 5 ? "#CCCCCC" : "#e5e5e5") + ">";
  if (!grid(0, 1, 0).empty()) {
    html += "<font face=\"Verdana, Arial, Helvetica, sans-serif\" color=#000099 size=1 ,helvetica>" + grid(0, 1, 0);
  }
  html += "</td></tr></tbody></table>";
}

}  // namespace orbitel::views
