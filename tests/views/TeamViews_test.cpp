// The four team pages end to end against a real local store, the printed table read back as
// busy days and slots, or the error text.
#include <gtest/gtest.h>

#include "views/ViewFixture.h"
#include "views/team/AllDay.h"
#include "views/team/AllMonth.h"
#include "views/team/AllNow.h"
#include "views/team/AllWeek.h"

namespace orbitel::views {
namespace {

using namespace views::testing;
using TeamViews = ViewFixture;

TEST_F(TeamViews, MonthMarksEachBusyDayWithItsPicture) {
  Import("alice", Timed("loc", "20030203T090000", "20030203T100000", "LOCATION:Room 1\r\n") +
                      Timed("plain", "20030227T140000", "20030227T150000") +
                      Timed("secret", "20030210T090000", "20030210T100000", "CLASS:PRIVATE\r\n") +
                      Timed("free", "20030211T090000", "20030211T100000", "TRANSP:TRANSPARENT\r\n"));
  Import("bea", AllDayEvent("allday", "20030205", "20030206"));
  Import("carl", AllDayEvent("leap", "20040229", "20040301"));
  AllMonth page;
  std::string html = Run(page, 2003, 2, 14);
  EXPECT_EQ(BusyDays(html, "alice"), "3L 27#");
  EXPECT_EQ(BusyDays(html, "bea"), "5#");  // an all-day appointment keeps to its day
  EXPECT_EQ(Count(html, "CalendarDay.asp?DAY="), 28);
  EXPECT_NE(html.find("Bea &lt;b&gt;Bold&lt;/b&gt;"), std::string::npos);
  EXPECT_EQ(page.PrintGenerateErrors(), "");

  html = Run(page, 2004, 2, 14);
  EXPECT_EQ(Count(html, "CalendarDay.asp?DAY="), 29);
  EXPECT_EQ(BusyDays(html, "carl"), "29#");
  // The month's range ends a day past the month: 1 February lands on day 1 of January.
  Import("alice", Timed("jan31", "20030131T090000", "20030131T100000") +
                      Timed("feb1", "20030201T090000", "20030201T100000"));
  EXPECT_EQ(BusyDays(Run(page, 2003, 1, 15), "alice"), "1# 31#");
}

TEST_F(TeamViews, TodayIsRedOnAWeekdayButStaysGreyOnAWeekend) {
  AllMonth month;
  std::string html = Run(month, 2003, 11, 5);
  EXPECT_EQ(Count(html, "bgcolor=#ff0000"), 1);
  EXPECT_NE(html.find("bgcolor=#ff0000><div align=\"center\"><font face=arial,helvetica size=2>"
                      "<a href=\"CalendarDay.asp?DAY=5&"),
            std::string::npos);
  SetNow(2003, 11, 8, 10, 40);  // Saturday
  html = Run(month, 2003, 11, 8);
  EXPECT_EQ(Count(html, "#ff0000"), 0);
  EXPECT_EQ(Count(html, "<td width=18 bgcolor=#999999>"), 10);  // 1, 2, 8, 9, ... 29, 30

  AllDay day;
  SetNow(2003, 11, 4, 10, 40);
  EXPECT_EQ(Count(Run(day, 2003, 11, 4), " bgcolor=\"#FF0000\""), 12);
  EXPECT_EQ(Count(Run(day, 2003, 11, 5), " bgcolor=\"#FF0000\""), 0);
}

TEST_F(TeamViews, DayJoinsBusySlotsIntoRunsFrom7To19) {
  // 9:00-10:30 is slots 5-7; 13:00-14:00 and 14:30-15:30 leave slot 15 free between them.
  Import("alice", Timed("three", "20031104T090000", "20031104T103000") +
                      Timed("before", "20031104T130000", "20031104T140000") +
                      Timed("after", "20031104T143000", "20031104T153000", "LOCATION:Room 2\r\n") +
                      Timed("evening", "20031104T180000", "20031104T200000"));
  // Begun days before the day shown and still going on it; the days before and after stay off.
  Import("bea", Timed("away", "20031101T090000", "20031104T120000") + AllDayEvent("before", "20031103", "20031104") +
                    AllDayEvent("next", "20031105", "20031106"));
  Import("carl", AllDayEvent("off", "20031104", "20031105"));
  AllDay page;
  const std::string html = Run(page, 2003, 11, 4);
  EXPECT_EQ(Slots(RowOf(html, "alice")), "....###.....##.LL.....##");
  EXPECT_EQ(Slots(RowOf(html, "bea")), "##########..............");
  EXPECT_EQ(Slots(RowOf(html, "carl")), std::string(24, '#'));
}

TEST_F(TeamViews, WeekDrawsRunsAtTheStartTheMiddleAndTheEndOfADay) {
  // Tuesday: 7-9, 12-13 somewhere named, 17-19; Thursday 10-11; Saturday into Sunday.
  Import("alice", Timed("early", "20031104T070000", "20031104T090000") +
                      Timed("noon", "20031104T120000", "20031104T130000", "LOCATION:Cafe\r\n") +
                      Timed("late", "20031104T170000", "20031104T190000") +
                      Timed("thu", "20031106T100000", "20031106T110000"));
  Import("bea", Timed("away", "20031029T090000", "20031103T110000") +
                    Timed("sunday", "20031109T080000", "20031109T090000"));
  AllWeek page;
  const std::string html = Run(page, 2003, 11, 5);
  const std::string free = "............|";
  EXPECT_EQ(Slots(RowOf(html, "alice")) + "|", free + "##...L....##|" + free + "...#........|" + free + free + free);
  EXPECT_EQ(Slots(RowOf(html, "bea")) + "|", "####........|" + free + free + free + free + free + ".#..........|");
}

TEST_F(TeamViews, NowShowsFiveTilesARowWithEachUsersStatus) {
  UseDirectory({{"alice", "Alice Walker"}, {"bea", "Bea Stone"}, {"carl", "Carl Diaz"}, {"dora", "Dora Lind"},
                {"ed", "Ed Moss"}, {"fay", "Fay Ruiz"}});
  Import("alice", Timed("busy", "20031105T100000", "20031105T113000"));
  Import("bea", Timed("maybe", "20031105T100000", "20031105T110000", "STATUS:TENTATIVE\r\n"));
  Import("carl", Timed("out", "20031105T090000", "20031105T120000", "X-MICROSOFT-CDO-BUSYSTATUS:OOF\r\n"));
  Import("dora", Timed("hidden", "20031105T100000", "20031105T110000", "CLASS:PRIVATE\r\n"));
  Import("ed", Timed("open", "20031105T100000", "20031105T110000", "TRANSP:TRANSPARENT\r\n"));
  Import("fay", Timed("ending", "20031105T090000", "20031105T105000"));  // within the hour
  AllNow page;
  const std::string html = Run(page, 2003, 11, 5);
  std::string pictures;
  static const std::regex picture("<tr>|images/(cap-\\w+)\\.gif");
  for (std::sregex_iterator it(html.begin(), html.end(), picture), end; it != end; ++it) {
    pictures += (*it)[1].matched ? (*it)[1].str() + " " : "/ ";
  }
  EXPECT_EQ(pictures, "/ cap-busy cap-prov cap-fort cap-leer cap-leer / cap-busy ");
  EXPECT_EQ(Count(html, "10:30:00 AM - 11:30:00 AM"), 6);
}

// Every picture and link the grids print says what it shows, escaped like the name it repeats.
TEST_F(TeamViews, PicturesAndLinksSayWhoseWhenAndWhat) {
  Import("alice", Timed("room", "20031104T090000", "20031104T103000", "LOCATION:Room 2\r\n") +
                      Timed("now", "20031105T100000", "20031105T113000"));
  Import("bea", Timed("plain", "20031104T130000", "20031104T140000"));
  AllMonth month;
  AllWeek week;
  AllDay day;
  AllNow now;
  const std::pair<std::string, std::vector<std::string>> cases[] = {
      {Run(month, 2003, 11, 5),
       {"Alice Walker: personal month", "Alice Walker, Tuesday 4 November: busy, with a location",
        "Bea &lt;b&gt;Bold&lt;/b&gt;, Tuesday 4 November: busy"}},
      {Run(week, 2003, 11, 5), {"Alice Walker, Tuesday 4 November, 9:00 to 11:00: busy, with a location"}},
      {Run(day, 2003, 11, 4),
       {"Bea &lt;b&gt;Bold&lt;/b&gt;: personal day", "Alice Walker, 9:00 to 10:30: busy, with a location"}},
      {Run(now, 2003, 11, 5), {"Alice Walker: busy now", "Bea &lt;b&gt;Bold&lt;/b&gt;: free now"}},
  };
  for (const auto& [html, names] : cases) {
    for (const std::string& name : names) {
      EXPECT_NE(html.find(" alt=\"" + name + "\" title=\"" + name + "\">"), std::string::npos) << name;
    }
    EXPECT_EQ(Count(html, "<img "), Count(html, " alt=\"")) << names[0];  // every picture has its text
  }
}

TEST_F(TeamViews, AMissingMailboxIsReportedAndTheOthersStillShow) {
  std::filesystem::remove_all(store_root_);
  Import("alice", "");
  Import("carl", Timed("m", "20031106T090000", "20031106T100000"));
  AllMonth page;
  const std::string html = Run(page, 2003, 11, 5);
  EXPECT_NE(page.PrintGenerateErrors().find("<b>ERROR:</b> Orbitel does not have access to Bea &lt;b&gt;Bold"),
            std::string::npos);
  EXPECT_EQ(BusyDays(html, "carl"), "6#");
  EXPECT_NE(RowOf(html, "alice"), "");

  // (Nobody's mailbox at all is CalDavTeamQuery_test's.) No directory: no domain, and no rows.
  ConnectDirectory("");
  AllWeek week;
  EXPECT_EQ(Run(week, 2003, 11, 5).find("outlook.gif"), std::string::npos);
  EXPECT_NE(week.PrintGenerateErrors().find("No domain was found on this computer."), std::string::npos);
}

}  // namespace
}  // namespace orbitel::views
