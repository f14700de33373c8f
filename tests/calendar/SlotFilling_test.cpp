// Laying appointments into the team day's slots, and the personal views' blocks; the week's
// slots are read back from the team week page (TeamViews_test).
#include <gtest/gtest.h>

#include <memory>

#include "calendar/AppointmentBlock.h"
#include "calendar/SlotFilling.h"
#include "site/MemoryPageContext.h"
#include "site/SiteState.h"

namespace orbitel::calendar {
namespace {

Date At(int year, int month, int day, int hour = 0, int minute = 0) {
  return *Date::FromParts(year, month, day)->AddSeconds(hour * 3600 + minute * 60);
}

AppointmentRow Row(Date start, Date end, std::string location = "", bool all_day = false) {
  AppointmentRow row;
  row.subject = "Planning";
  row.location = std::move(location);
  row.local_start = start;
  row.local_end = end;
  row.all_day = all_day;
  return row;
}

// The team day's 24 half-hour slots from 7:00: '#' busy, 'L' busy with the location noted, and
// 'l' a location noted on a free slot.
std::string Marks(const UserCalendar& grid) {
  std::string marks;
  for (int s = 1; s <= 24; ++s) marks += ".l#L"[2 * grid.IsBusy(0, 1, s) + !grid(0, 3, s).empty()];
  return marks;
}

TEST(DaySlots, HalfHoursOverlappedOnTheDay) {
  struct Case {
    Date start, end;
    std::string location;
    bool all_day;
    const char* marks;
  } cases[] = {
      {At(2003, 11, 3, 9), At(2003, 11, 3, 10, 30), "Room 1", false, "....LLL................."},
      {At(2003, 11, 3, 9, 10), At(2003, 11, 3, 9, 20), "", false, "....#..................."},
      {At(2003, 11, 3, 6), At(2003, 11, 3, 7, 30), "", false, "#......................."},
      {At(2003, 11, 3, 18, 45), At(2003, 11, 4, 9), "", false, ".......................#"},  // clipped
      {At(2003, 11, 2, 9), At(2003, 11, 3, 8), "", false, "##......................"},
      {At(2003, 11, 3, 19), At(2003, 11, 3, 20), "", false, "........................"},
      {At(2003, 11, 3), At(2003, 11, 3, 23, 59), "", true, "########################"},
  };
  for (const Case& c : cases) {
    UserCalendar grid({"alice|Alice"}, 3, 24);
    SetCalHoursForOneDays(grid, 0, Row(c.start, c.end, c.location, c.all_day), At(2003, 11, 3, 9));
    EXPECT_EQ(Marks(grid), c.marks);
  }
}

// The block's HTML, its times, and its link to the item, the name encoded and the subject escaped;
// the other kinds of block are read back from the personal views' pages.
TEST(PersonalBlock, TimeTextsAndLink) {
  site::Site().PageContext = std::make_shared<site::MemoryPageContext>(
      site::MemoryPageContext().Query("USER", "alice"));
  const std::string prefix =
      "<table width=\"100%\" border=\"0\" cellspacing=\"0\" cellpadding=\"0\"><tr><td "
      "width=\"20\" valign=\"top\"><img src=\"images/_pix.gif\" width=\"10\" height=\"10\" alt=\"Appointment\" "
      "title=\"Appointment\"></td>"
      "<td width=\"*\"><font face=\"Verdana, Arial, Helvetica, sans-serif\" color=#000099 size=1>";
  const std::string suffix = "<br><hr noShade size=1><br></font></td></tr></table>";

  UserCalendar grid({"alice|Alice"}, 31, 0);
  AppointmentRow row = Row(At(2003, 3, 3, 9), At(2003, 4, 3, 9, 30), "");
  row.display_name = "a b&c.ics";
  row.subject = "<script>";
  SetCalHoursForPer(grid, row, At(2003, 3, 3, 9), 3);
  EXPECT_EQ(grid(0, 3, 0), prefix + "9:00:00 - 9:30:00<br><a href=\"CalendarItem.asp?UserName=alice"
                                    "&Name=a+b%26c%2Eics\" target=\"_blank\">&lt;script&gt;</a><br>" +
                               suffix);

  site::Site() = site::SiteState();
}

}  // namespace
}  // namespace orbitel::calendar
