// An appointment's block in the personal views. The team views' slots, and the other kinds of
// block, are read back from the pages that show them (TeamViews_test, PersonalViews_test).
#include "calendar/AppointmentBlock.h"

#include <gtest/gtest.h>

#include <memory>

#include "site/MemoryPageContext.h"
#include "site/SiteState.h"

namespace orbitel::calendar {
namespace {

Date At(int year, int month, int day, int hour = 0, int minute = 0) {
  return *Date::FromParts(year, month, day)->AddSeconds(hour * 3600 + minute * 60);
}

// The block's HTML, its times, and its link to the item, the name encoded and the subject escaped.
TEST(PersonalBlock, TimeTextsAndLink) {
  site::Site().PageContext = std::make_shared<site::MemoryPageContext>(
      site::MemoryPageContext().Query("USER", "alice"));
  UserCalendar grid({"alice|Alice"}, 31, 0);
  AppointmentRow row;
  row.subject = "<script>";
  row.display_name = "a b&c.ics";
  row.local_start = At(2003, 3, 3, 9);
  row.local_end = At(2003, 4, 3, 9, 30);
  SetCalHoursForPer(grid, row, At(2003, 3, 3, 9), 3);
  EXPECT_EQ(grid(0, 3, 0),
            "<table width=\"100%\" border=\"0\" cellspacing=\"0\" cellpadding=\"0\"><tr><td width=\"20\" "
            "valign=\"top\"><img src=\"images/_pix.gif\" width=\"10\" height=\"10\" alt=\"Appointment\" "
            "title=\"Appointment\"></td><td width=\"*\"><font face=\"Verdana, Arial, Helvetica, sans-serif\" "
            "color=#000099 size=1>9:00:00 - 9:30:00<br><a href=\"CalendarItem.asp?UserName=alice&Name=a+b%26c%2Eics\" "
            "target=\"_blank\">&lt;script&gt;</a><br><br><hr noShade size=1><br></font></td></tr></table>");
  site::Site() = site::SiteState();
}

}  // namespace
}  // namespace orbitel::calendar
