#include "calendar/AppointmentBlock.h"

#include "runtime/TextCoding.h"
#include "site/AccessibleNames.h"
#include "site/DateHelpers.h"
#include "site/ErrorHandler.h"
#include "site/PageContext.h"
#include "site/SiteState.h"

namespace orbitel::calendar {

namespace {

using site::DayName;
using site::PadTwo;

// "Mon, 3/11/03 " : the weekday, day/month and the year's last two digits.
std::string DateLine(Date date) {
  const std::string year = std::to_string(date.Year());
  return DayName(date, 2) + ", " + std::to_string(date.Day()) + "/" +
         std::to_string(date.Month()) + "/" + year.substr(year.size() - 2) + " ";
}

std::string HourMinute(Date date) {
  return std::to_string(date.Hour()) + ":" + PadTwo(date.Minute());
}

// Only the day of the month is compared, not the whole date: a timed appointment from 3 March
// to 3 April reads as one day's span.
std::string TimeText(const AppointmentRow& row, Date day) {
  const Date start = row.local_start, end = row.local_end;
  if (!row.all_day) {
    if (start.Day() != end.Day()) {
      return DateLine(start) + "<br>" + HourMinute(start) + "<br>To<br>" + DateLine(end) +
             "<br>" + HourMinute(end) + "<br>";
    }
    return HourMinute(start) + ":" + PadTwo(start.Second()) + " - " + HourMinute(end) + ":" +
           PadTwo(end.Second());
  }
  if (day.Day() == end.Day() && end.Hour() == 0) return "";
  if (end.Day() == start.Day()) return "All Day Event";
  return DateLine(start) + "<br>All Day Event<br>To<br>" + DateLine(end) + "<br>All Day Event<br>";
}

// The words for the status picture beside an appointment; the calendar pages do not ask the
// store for the status, so most blocks carry the plain appointment picture.
std::string StatusName(const std::string& busy_status) {
  const std::string_view words = site::BusyStatusWords(busy_status);
  return words.empty() ? "Appointment" : std::string(words);
}

}  // namespace

void SetCalHoursForPer(UserCalendar& grid, const AppointmentRow& row, Date day, int day_index) {
  site::RunLogged("Functions.SetCalHoursForPer", [&] {
    const std::string time_text = TimeText(row, day);
    if (time_text.empty()) return Status::Ok();
    const auto& context = site::Site().PageContext;
    const std::string user = context ? context->RequestText("USER") : "";
    std::string block =
        "<table width=\"100%\" border=\"0\" cellspacing=\"0\" cellpadding=\"0\"><tr><td "
        "width=\"20\" valign=\"top\"><img src=\"images/" +
        HtmlEscape(row.busy_status) +
        "_pix.gif\" width=\"10\" height=\"10\"" + site::PictureName(StatusName(row.busy_status)) +
        "></td><td width=\"*\"><font face=\"Verdana, "
        "Arial, Helvetica, sans-serif\" color=#000099 size=1>";
    block += time_text;
    block += "<br><a href=\"CalendarItem.asp?UserName=" + HtmlEscape(user) +
             "&Name=" + site::UrlEncode(row.display_name) + "\" target=\"_blank\">" +
             HtmlEscape(row.subject) + "</a><br>";
    // Appended piece by piece: GCC 12 at -O3 warns falsely (-Wrestrict) on "(" + std::string.
    if (!row.location.empty()) block.append("(").append(HtmlEscape(row.location)).append(")");
    block += "<br><hr noShade size=1><br></font></td></tr></table>";
    grid(0, day_index, 0) += block;
    return Status::Ok();
  });
}

}  // namespace orbitel::calendar
