// The personal day, week and month pages end to end for the request's user: the tables around
// the appointment blocks, which day each block lands on, and the colours of today and weekends.
#include <gtest/gtest.h>

#include <regex>

#include "views/ViewFixture.h"
#include "views/personal/PerDay.h"
#include "views/personal/PerMonth.h"
#include "views/personal/PerWeek.h"

namespace orbitel::views {
namespace {

using namespace views::testing;

class PersonalViews : public ViewFixture {
 protected:
  void SetUp() override {
    ViewFixture::SetUp();
    Mailboxes();
  }
  // The blocks of some HTML in order, as "time text|subject".
  static std::vector<std::string> Blocks(const std::string& html) {
    static const std::regex block("color=#000099 size=1>(.*?)<br><a href=\"CalendarItem[^\"]*\" "
                                  "target=\"_blank\">([^<]*)</a>");
    std::vector<std::string> blocks;
    for (std::sregex_iterator it(html.begin(), html.end(), block), end; it != end; ++it) {
      blocks.push_back((*it)[1].str() + "|" + (*it)[2].str());
    }
    return blocks;
  }
};

TEST_F(PersonalViews, DayFramesItsBlocksAndColoursTodayAndWeekends) {
  PerDay empty;
  EXPECT_EQ(Run(empty, 2003, 11, 5),
            "<p><font face=verdana,helvetica color=#666666 size=3><b>&nbsp;alice - 5/11/2003</b></font></p>"
            "<table cellspacing=1 cellpadding=3 width=\"100%\" border=0><tbody><tr><td width=8></td>"
            "<td class=days bgcolor=#ff0000 width=\"*\"><font face=\"Verdana, Arial, Helvetica, sans-serif\" "
            "size=2 ,helvetica>Wed, 5/11/03</font></td></tr><tr><td width=8></td><td valign=top "
            "bgcolor=#e5e5e5></td></tr></tbody></table>");

  Import("alice", Timed("Planning", "20031108T090000", "20031108T100000", "LOCATION:Room 2\r\n") +
                      Timed("Review", "20031108T140000", "20031108T150000"));
  SetNow(2003, 11, 8, 8, 0);  // a Saturday that is today: the weekend colour wins
  PerDay saturday;
  const std::string html = Run(saturday, 2003, 11, 8);
  EXPECT_NE(html.find("bgcolor=#999999 width=\"*\""), std::string::npos);
  EXPECT_NE(html.find("<td valign=top bgcolor=#CCCCCC><font face=\"Verdana, Arial, Helvetica, "
                      "sans-serif\" color=#000099 size=1 ,helvetica><table"),
            std::string::npos);
  EXPECT_EQ(Blocks(html), (std::vector<std::string>{"9:00:00 - 10:00:00|Planning", "14:00:00 - 15:00:00|Review"}));
  EXPECT_NE(html.find("(Room 2)"), std::string::npos);
  EXPECT_EQ(saturday.ShowNextDate(), "CalendarPersonalDay.asp?DAY=9&MONTH=11&YEAR=2003&USER=alice");
}

TEST_F(PersonalViews, WeekStartsOnMondayAndKeepsEachBlockOnItsDay) {
  // Sunday night into Monday shows under Sunday only: Monday lies outside the week asked for.
  Import("alice", Timed("Late", "20031109T230000", "20031110T010000") +
                      Timed("Tuesday", "20031104T090000", "20031104T093000"));
  PerWeek page;
  const std::string html = Run(page, 2003, 11, 9);  // a Sunday
  EXPECT_NE(html.find("<b>&nbsp;alice - Week Commencing 3/11/2003</b>"), std::string::npos);
  EXPECT_EQ(Count(html, "<td valign=\"top\" width=125 = bgcolor=#e5e5e5>"), 7);
  EXPECT_NE(html.find("<td bgcolor=\"#FF0000\"><center><a href=\"CalendarPersonalDay.asp" +
                      DateLink(2003, 11, 5, "alice") + "\"><font face=\"Verdana, Arial, Helvetica, "
                      "sans-serif\" size=\"1\" color=\"#000000\">Wed 5</font></center></a></td>"),
            std::string::npos);
  EXPECT_NE(html.find("<td bgcolor=\"#999999\"><center>"), std::string::npos);

  const auto cells = [&html] {
    std::vector<std::string> found;
    const std::string open = "size=\"1\">", close = "</font>&nbsp;</td>";
    for (auto at = html.find(close); at != std::string::npos; at = html.find(close, at + 1)) {
      const auto start = html.rfind("<td valign=\"top\" width=125", at);
      found.push_back(html.substr(start, at - start));
    }
    return found;
  }();
  ASSERT_EQ(cells.size(), 7u);
  EXPECT_EQ(Blocks(cells[1]), std::vector<std::string>{"9:00:00 - 9:30:00|Tuesday"});
  EXPECT_EQ(Blocks(cells[6]), std::vector<std::string>{"Sun, 9/11/03 <br>23:00<br>To<br>Mon, 10/11/03 <br>1:00<br>|Late"});
  for (int day : {0, 2, 3, 4, 5}) EXPECT_TRUE(Blocks(cells[day]).empty()) << day;
}

TEST_F(PersonalViews, MonthRunsInSevensFromTheFirst) {
  PerMonth february;
  const std::string short_month = Run(february, 2003, 2, 10);
  EXPECT_NE(short_month.find("<b>alice - Month of February</b>"), std::string::npos);
  EXPECT_EQ(Count(short_month, "</tr><tr>"), 7);  // four rows, each a line of headings over cells
  EXPECT_EQ(Count(short_month, "<td>&nbsp;</td>"), 0);
  // 1 February 2003 was a Saturday and stands in the first column.
  EXPECT_NE(short_month.find("<td valign=\"top\" width=125 bgcolor=#999999><div align=\"center\">"
                             "<font face=\"Verdana, Arial, Helvetica, sans-serif\" color=#000099 size=\"1\">"
                             "<a href=\"CalendarPersonalDay.asp" + DateLink(2003, 2, 1, "alice") +
                             "\"><font color=\"#000000\">Sat 1</font></a></font></div></td>"),
            std::string::npos);

  Import("alice", Timed("Board", "20031117T090000", "20031117T110000"));
  PerMonth november;
  const std::string html = Run(november, 2003, 11, 5);
  EXPECT_EQ(Count(html, "</tr><tr>"), 9);
  EXPECT_EQ(Count(html, "<td>&nbsp;</td>"), 10);  // 30 days: the last row holds the 29th and 30th
  EXPECT_NE(html.find("<td valign=\"top\" width=125 bgcolor=#ff0000>"), std::string::npos);  // the 5th
  EXPECT_EQ(Blocks(html), std::vector<std::string>{"9:00:00 - 11:00:00|Board"});
  // Day 17 is the third cell of the third row.
  const auto row = html.find("Mon 17");
  EXPECT_NE(html.find("<td valign=\"top\" align=middle width=125 bgcolor=#f7f7f7>", row), std::string::npos);
  EXPECT_EQ(Count(html, "<td align=middle width=125 bgcolor="), 29);
}

TEST_F(PersonalViews, TheRequestsUserIsEscapedWhereverItIsWritten) {
  auto context = std::make_shared<site::MemoryPageContext>();
  context->Query("USER", "<b>x</b>");
  PerDay page;
  page.OnStartPage(context);
  page.GenerateCalendar();
  EXPECT_NE(page.PrintCalendar().find("&nbsp;&lt;b&gt;x&lt;/b&gt; - "), std::string::npos);
  EXPECT_EQ(page.PrintCalendar().find("<b>x</b>"), std::string::npos);
  EXPECT_EQ(page.ShowNewCalendarItemLink(), "CalendarItem.asp?UserName=&lt;b&gt;x&lt;/b&gt;&Method=New");
}

}  // namespace
}  // namespace orbitel::views
