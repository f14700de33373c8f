#include "views/team/AllNow.h"

#include "calendar/CalendarQuery.h"
#include "runtime/Conversions.h"
#include "runtime/DateText.h"
#include "runtime/TextCoding.h"
#include "site/AccessibleNames.h"
#include "site/Clock.h"
#include "site/DateHelpers.h"
#include "site/DateNavigation.h"
#include "site/SiteState.h"
#include "views/team/TeamRows.h"

namespace orbitel::views {

namespace {

const char* StatusPicture(const std::string& status) {
  if (status == "TENTATIVE") return "cap-prov";
  if (status == "BUSY") return "cap-busy";
  if (status == "OOF") return "cap-fort";
  return "cap-leer";
}

// What a status tile says, the same four states as its picture: "busy now".
std::string StatusWords(const std::string& status) {
  const std::string_view words = site::BusyStatusWords(status);
  return ToLower(words.empty() ? "Free" : words) + " now";
}

// The present time of day on the half hour: "10:0", "10:0.5" or "10:1" read as a time.
Date NowTime() {
  const std::string text = std::to_string(site::Now().Hour()) + ":" +
                           FormatDouble(site::HalfHourFraction(site::Now().Minute()));
  return ParseDate(text).value_or(Date());
}

}  // namespace

AllNow::AllNow() : PageFrame({"CalendarNow.asp", site::DateStep::kNone, 1}) {}

void AllNow::GenerateCalendar() {
  const Date now_time = NowTime();
  const site::UserList users = LoadTeam();
  calendar::UserCalendar grid(users, 1, 0);
  calendar::GetUsersCalender(grid, site::Today(), "now");

  const std::string span = FormatGeneralDate(now_time) + " - " +
                           FormatGeneralDate(now_time.AddHours(1).value_or(now_time));
  const Date requested = site::RequestedDateValue();
  std::string& html = site::Site().CalendarHtml;
  html += "<table cellspacing=2 cellpadding=2 width=\"99%\" border=0><tbody>";
  int column = 1;
  for (int u = 0; u < grid.UserCount(); ++u) {
    const std::string name = site::SplitUserEntry(grid(u, 0, 0), true);
    if (column == 1) html += "<tr>";
    html += "<td valign=top width=90 bgcolor=#eeeeee><div align=\"left\"><a "
            "href=\"CalendarPersonalDay.asp" +
            site::BuildDateLinkQuery(requested, site::SplitUserEntry(grid(u, 0, 0), false)) +
            "\"><img height=32 src=\"images/" + StatusPicture(grid(u, 1, 0)) +
            ".gif\" width=32 border=1" +
            site::PictureName(name + ": " + StatusWords(grid(u, 1, 0))) +
            "></a><br><font face=arial,helvetica color=#999999 size=1>" +
            span + "</font><br><font face=arial,helvetica size=2>" +
            HtmlEscape(name) + "</font></div></td>";
    if (column == 5) {
      html += "</tr>";
      column = 1;
    } else {
      ++column;
    }
  }
  html += "</tbody></table>";
}

}  // namespace orbitel::views
