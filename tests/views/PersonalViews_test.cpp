// The personal day, week and month pages end to end for the request's user: which day each
// appointment block lands on, what it says, and the colours of today and weekends.
#include <gtest/gtest.h>

#include "views/ViewFixture.h"
#include "views/personal/PerDay.h"
#include "views/personal/PerMonth.h"
#include "views/personal/PerWeek.h"

namespace orbitel::views {
namespace {

using namespace views::testing;

class PersonalViews : public ViewFixture {
 protected:
  // The blocks in order, as "time text|subject|location", each day's cell starting with '/'.
  static std::string Blocks(const std::string& html) {
    static const std::regex block(
        "(width=125)|color=#000099 size=1>(.*?)<br><a href=\"CalendarItem[^\"]*\" "
        "target=\"_blank\">([^<]*)</a><br>(?:\\(([^)]*)\\))?");
    std::string blocks;
    for (std::sregex_iterator it(html.begin(), html.end(), block), end; it != end; ++it) {
      const std::smatch& m = *it;
      blocks += m[1].matched ? "/" : m[2].str() + "|" + m[3].str() + "|" + m[4].str() + " ";
    }
    return blocks;
  }
};

TEST_F(PersonalViews, DayShowsEachBlockEscapedAndColoursTodayAndWeekends) {
  Import("alice", Timed("Planning", "20031108T090000", "20031108T100000",
                        "LOCATION:R&D <b>lab</b>\r\n") +
                      Timed("<i>Review</i>", "20031108T140000", "20031108T150000") +
                      Timed("Trip", "20031103T090000", "20031110T170000"));
  SetNow(2003, 11, 8, 8, 0);  // a Saturday that is today: the weekend colour wins
  PerDay saturday;
  const std::string html = Run(saturday, 2003, 11, 8);
  EXPECT_NE(html.find("bgcolor=#999999 width=\"*\""), std::string::npos);
  EXPECT_NE(html.find("<td valign=top bgcolor=#CCCCCC>"), std::string::npos);
  // Begun five days before and still running: shown with its whole span.
  EXPECT_EQ(Blocks(html),
            "Mon, 3/11/03 <br>9:00<br>To<br>Mon, 10/11/03 <br>17:00<br>|Trip| "
            "9:00:00 - 10:00:00|Planning|R&amp;D &lt;b&gt;lab&lt;/b&gt; "
            "14:00:00 - 15:00:00|&lt;i&gt;Review&lt;/i&gt;| ");
  EXPECT_EQ(saturday.ShowNextDate(), "CalendarPersonalDay.asp?DAY=9&MONTH=11&YEAR=2003&USER=alice");

  PerDay weekday;
  EXPECT_NE(Run(weekday, 2003, 11, 5).find("<td valign=top bgcolor=#e5e5e5>"), std::string::npos);
}

TEST_F(PersonalViews, WeekStartsOnMondayAndKeepsEachBlockOnItsDay) {
  // Sunday night into Monday shows under Sunday only: Monday lies outside the week asked for.
  Import("alice", Timed("Late", "20031109T230000", "20031110T010000") +
                      Timed("Tuesday", "20031104T090000", "20031104T093000") +
                      AllDayEvent("Holiday", "20031106", "20031107"));
  PerWeek page;
  const std::string html = Run(page, 2003, 11, 9);  // a Sunday
  EXPECT_NE(html.find("<b>&nbsp;alice - Week Commencing 3/11/2003</b>"), std::string::npos);
  EXPECT_EQ(Blocks(html), "//9:00:00 - 9:30:00|Tuesday| //All Day Event|Holiday| ///"
                          "Sun, 9/11/03 <br>23:00<br>To<br>Mon, 10/11/03 <br>1:00<br>|Late| ");
  EXPECT_NE(html.find("&Name=Tuesday%2Eics\" target=\"_blank\">Tuesday</a>"), std::string::npos);
  EXPECT_NE(html.find("<td bgcolor=\"#FF0000\"><center><a href=\"CalendarPersonalDay.asp?DAY=5&"),
            std::string::npos);
}

TEST_F(PersonalViews, MonthRunsInSevensFromTheFirst) {
  PerMonth february;
  const std::string short_month = Run(february, 2003, 2, 10);
  EXPECT_NE(short_month.find("<b>alice - Month of February</b>"), std::string::npos);
  EXPECT_EQ(Count(short_month, "</tr><tr>"), 7);  // four rows, each headings over cells
  // 1 February 2003 was a Saturday and stands in the first column.
  EXPECT_NE(short_month.find("<tr><td valign=\"top\" width=125 bgcolor=#999999>"), std::string::npos);
  EXPECT_NE(short_month.find("<font color=\"#000000\">Sat 1</font>"), std::string::npos);

  Import("alice", Timed("Board", "20031117T090000", "20031117T110000"));
  PerMonth november;
  const std::string html = Run(november, 2003, 11, 5);
  EXPECT_EQ(Count(html, "<td>&nbsp;</td>"), 10);  // 30 days: the last row holds the 29th and 30th
  // Day 17 is the third cell of the third row: under seven headings, after two empty days.
  const std::string row = html.substr(html.find("Sat 15"), html.find("Sat 22") - html.find("Sat 15"));
  EXPECT_EQ(Blocks(row), "/////////9:00:00 - 11:00:00|Board| /////");
  EXPECT_NE(row.find("&Name=Board%2Eics\" target=\"_blank\">Board</a>"), std::string::npos);
}

TEST_F(PersonalViews, TheRequestsUserIsEscapedWhereverItIsWritten) {
  auto context = std::make_shared<site::MemoryPageContext>();
  context->Query("USER", "<b>\"x\"</b>");
  PerDay page;
  page.OnStartPage(context);
  page.GenerateCalendar();
  EXPECT_NE(page.PrintCalendar().find("&nbsp;&lt;b&gt;&quot;x&quot;&lt;/b&gt; - "), std::string::npos);
  EXPECT_EQ(page.PrintCalendar().find("<b>\"x\"</b>"), std::string::npos);
  EXPECT_EQ(page.ShowNewCalendarItemLink(), "CalendarItem.asp?UserName=&lt;b&gt;&quot;x&quot;&lt;/b&gt;&Method=New");
}

}  // namespace
}  // namespace orbitel::views
