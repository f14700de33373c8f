// Laying appointments into the team day and week slots, and the personal views' blocks.
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

std::string Marks(const UserCalendar& grid, int day, int slots) {
  std::string marks;
  for (int s = 1; s <= slots; ++s) marks += grid.IsBusy(0, day, s) ? '#' : '.';
  return marks;
}

TEST(DaySlots, HalfHoursOverlappedOnTheDay) {
  struct Case {
    Date start, end;
    const char* marks;
  } cases[] = {
      {At(2003, 11, 3, 9), At(2003, 11, 3, 10, 30), "....###................."},
      {At(2003, 11, 3, 9, 10), At(2003, 11, 3, 9, 20), "....#..................."},
      {At(2003, 11, 3, 6), At(2003, 11, 3, 7, 30), "#......................."},
      {At(2003, 11, 3, 18, 45), At(2003, 11, 4, 9), ".......................#"},  // clipped to D
      {At(2003, 11, 2, 9), At(2003, 11, 3, 8), "##......................"},
      {At(2003, 11, 3, 19), At(2003, 11, 3, 20), "........................"},
  };
  for (const Case& c : cases) {
    UserCalendar grid({"alice|Alice"}, 3, 24);
    SetCalHoursForOneDays(grid, 0, Row(c.start, c.end, "Room 1"), At(2003, 11, 3, 9));
    EXPECT_EQ(Marks(grid, 1, 24), c.marks);
  }
  UserCalendar grid({"alice|Alice"}, 3, 24);
  SetCalHoursForOneDays(grid, 0, Row(At(2003, 11, 3), At(2003, 11, 3, 23, 59), "", true),
                        At(2003, 11, 3));
  EXPECT_EQ(Marks(grid, 1, 24), std::string(24, '#'));
}

TEST(DaySlots, LocationGoesWithEveryMarkedSlot) {
  UserCalendar grid({"alice|Alice"}, 3, 24);
  SetCalHoursForOneDays(grid, 0, Row(At(2003, 11, 3, 9), At(2003, 11, 3, 10), "Room 1"),
                        At(2003, 11, 3, 9));
  EXPECT_EQ(grid(0, 3, 5), "Room 1");
  EXPECT_EQ(grid(0, 3, 6), "Room 1");
  EXPECT_EQ(grid(0, 3, 7), "");
}

TEST(WeekSlots, HoursOfTheWeekdayWithTheLocationAfterTheRun) {
  UserCalendar grid({"alice|Alice"}, 8, 36);
  // Wednesday 5 November 2003, 9:30 to 11:00: the 9:00 and 10:00 slots (3 and 4).
  SetCalHoursForSevenDays(grid, 0, Row(At(2003, 11, 5, 9, 30), At(2003, 11, 5, 11), "Lab"),
                          At(2003, 11, 5, 9, 30));
  EXPECT_EQ(Marks(grid, 3, 12), "..##........");
  EXPECT_EQ(grid(0, 3, 3 + 23), "Lab");
  EXPECT_EQ(grid(0, 3, 5 + 23), "Lab");  // the slot after the run carries it for the view
  EXPECT_EQ(grid(0, 3, 6 + 23), "");

  SetCalHoursForSevenDays(grid, 0, Row(At(2003, 11, 9, 17), At(2003, 11, 9, 21), "Hall"),
                          At(2003, 11, 9, 17));
  EXPECT_EQ(Marks(grid, 7, 12), "..........##");
  EXPECT_EQ(grid(0, 7, 36), "Hall");
}

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

  UserCalendar night({"alice|Alice"}, 31, 0);
  row = Row(At(2003, 1, 31, 23), At(2003, 2, 1, 1), "Pub");
  row.display_name = "n.ics";
  SetCalHoursForPer(night, row, At(2003, 1, 31, 23), 31);
  EXPECT_NE(night(0, 31, 0).find("Fri, 31/1/03 <br>23:00<br>To<br>Sat, 1/2/03 <br>1:00<br>"),
            std::string::npos);
  EXPECT_NE(night(0, 31, 0).find("</a><br>(Pub)<br><hr"), std::string::npos);

  UserCalendar all_day({"alice|Alice"}, 31, 0);
  row = Row(At(2003, 3, 5), At(2003, 3, 5, 23, 59), "", true);
  SetCalHoursForPer(all_day, row, At(2003, 3, 5), 5);
  EXPECT_NE(all_day(0, 5, 0).find("All Day Event<br><a"), std::string::npos);
  site::Site() = site::SiteState();
}

}  // namespace
}  // namespace orbitel::calendar
