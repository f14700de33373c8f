// The four team pages end to end: a page start with a query, the generator against a real local
// store filled by importing calendar text, and the printed table or error text. The clock is
// fixed and the zone is New York in standard time, so "today", "now" and local times are known.

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "views/ViewFixture.h"
#include "views/team/AllDay.h"
#include "views/team/AllMonth.h"
#include "views/team/AllNow.h"
#include "views/team/AllWeek.h"

namespace orbitel::views {
namespace {

using namespace views::testing;

class TeamViews : public ViewFixture {};

// ---- Month -------------------------------------------------------------------------------

std::string MonthHeader(int y, int m, int days, int today) {
  std::string html =
      "<table cellspacing=1 cellpadding=0 width=\"100%\" border=0><tbody><tr><td width=21></td>"
      "<td width=140></td>";
  for (int d = 1; d <= days; ++d) {
    const char* colour = IsWeekend(y, m, d) ? "#999999" : d == today ? "#ff0000" : "#e5e5e5";
    html += "<td width=18 bgcolor=" + std::string(colour) +
            "><div align=\"center\"><font face=arial,helvetica size=2><a href=\"CalendarDay.asp" +
            DateLink(y, m, d, "alice") + "\"><font color=\"#000000\">" + std::to_string(d) +
            "</font></a></font></div></td>";
  }
  return html + "</tr>";
}

// busy: day -> "Location" or "NoLocation".
std::string MonthRow(const std::string& account, const std::string& name_html, int y, int m,
                     int shown_day, int days, const std::map<int, std::string>& busy) {
  const std::string link = DateLink(y, m, shown_day, account);
  std::string html = "<tr><td width=\"21\"><a href=\"CalendarPersonalMonth.asp" + link +
                     "\"><img src=\"images/outlook.gif\" width=\"16\" height=\"14\" border=\"0\">"
                     "</a></td><td  bgcolor=\"#E5E5E5\"><a href=\"CalendarPersonalMonth.asp" +
                     link + "\"><font face=\"Verdana, Arial, Helvetica, sans-serif\" size=\"2\">"
                     "<img src=\"images/dot.gif\" width=\"10\" height=\"1\" border=\"0\">" +
                     name_html + "</font></a></td>";
  for (int d = 1; d <= days; ++d) {
    const std::string colour = IsWeekend(y, m, d) ? "#CCCCCC" : "#f7f7f7";
    auto mark = busy.find(d);
    if (mark == busy.end()) {
      html += "<td align=middle width=18 bgcolor=" + colour + ">&nbsp;</td>";
    } else {
      html += "<td width=18 align=center valign=middle bgcolor=" + colour +
              "><a href=\"CalendarPersonalDay.asp" + DateLink(y, m, d, account) +
              "\"><img height=13 src=\"images/" + mark->second + "_pix.gif\" width=18 border=0>"
              "</a></td>";
    }
  }
  return html + "</tr>";
}

TEST_F(TeamViews, MonthOfFebruaryHas28Or29DayColumnsAndMarksItsDays) {
  Mailboxes();
  Import("alice", Timed("loc", "20030203T090000", "20030203T100000", "LOCATION:Room 1\r\n") +
                      Timed("plain", "20030227T140000", "20030227T150000"));
  Import("carl", AllDayEvent("leap", "20040229", "20040301"));
  AllMonth page;
  EXPECT_EQ(WithoutAddedNames(Run(page, 2003, 2, 14)),
            MonthHeader(2003, 2, 28, 0) +
                MonthRow("alice", "Alice Walker", 2003, 2, 14, 28,
                         {{3, "Location"}, {27, "NoLocation"}}) +
                MonthRow("bea", "Bea &lt;b&gt;Bold&lt;/b&gt;", 2003, 2, 14, 28, {}) +
                MonthRow("carl", "Carl Diaz", 2003, 2, 14, 28, {}) + "</tbody></table>");
  EXPECT_EQ(page.PrintGenerateErrors(), "");

  EXPECT_EQ(WithoutAddedNames(Run(page, 2004, 2, 14)),
            MonthHeader(2004, 2, 29, 0) + MonthRow("alice", "Alice Walker", 2004, 2, 14, 29, {}) +
                MonthRow("bea", "Bea &lt;b&gt;Bold&lt;/b&gt;", 2004, 2, 14, 29, {}) +
                MonthRow("carl", "Carl Diaz", 2004, 2, 14, 29, {{29, "NoLocation"}}) +
                "</tbody></table>");
}

TEST_F(TeamViews, MonthHidesPrivateAndFreeAndKeepsAnAllDayAppointmentToItsDay) {
  Mailboxes();
  Import("alice", Timed("secret", "20031110T090000", "20031110T100000", "CLASS:PRIVATE\r\n") +
                      Timed("free", "20031111T090000", "20031111T100000",
                            "TRANSP:TRANSPARENT\r\n") +
                      AllDayEvent("allday", "20031103", "20031104"));
  AllMonth page;
  const std::string html = WithoutAddedNames(Run(page, 2003, 11, 5));
  EXPECT_EQ(html, MonthHeader(2003, 11, 30, 5) +
                      MonthRow("alice", "Alice Walker", 2003, 11, 5, 30, {{3, "NoLocation"}}) +
                      MonthRow("bea", "Bea &lt;b&gt;Bold&lt;/b&gt;", 2003, 11, 5, 30, {}) +
                      MonthRow("carl", "Carl Diaz", 2003, 11, 5, 30, {}) + "</tbody></table>");
}

TEST_F(TeamViews, MonthWalksDaysUpToItsRangeEnd) {
  Mailboxes();
  Import("alice", Timed("jan30", "20030130T090000", "20030130T100000") +
                      Timed("jan31", "20030131T090000", "20030131T100000") +
                      Timed("feb1", "20030201T090000", "20030201T100000"));
  AllMonth page;
  // The month's range end is a day past the month, so 1 February lands on day 1 of January.
  EXPECT_EQ(WithoutAddedNames(Run(page, 2003, 1, 15)),
            MonthHeader(2003, 1, 31, 0) +
                MonthRow("alice", "Alice Walker", 2003, 1, 15, 31,
                         {{1, "NoLocation"}, {30, "NoLocation"}, {31, "NoLocation"}}) +
                MonthRow("bea", "Bea &lt;b&gt;Bold&lt;/b&gt;", 2003, 1, 15, 31, {}) +
                MonthRow("carl", "Carl Diaz", 2003, 1, 15, 31, {}) + "</tbody></table>");
  // Asked for on the 31st the end is measured by February (of the year before) and falls on
  // 30 January: the month's last two days stay empty.
  const std::string html = WithoutAddedNames(Run(page, 2003, 1, 31));
  EXPECT_NE(html.find(MonthRow("alice", "Alice Walker", 2003, 1, 31, 31, {})), std::string::npos);
}

TEST_F(TeamViews, TodayIsRedOnAWeekdayButStaysGreyOnAWeekend) {
  Mailboxes();
  AllMonth month;
  std::string html = WithoutAddedNames(Run(month, 2003, 11, 5));
  EXPECT_EQ(Count(html, "bgcolor=#ff0000"), 1);
  EXPECT_NE(html.find("<td width=18 bgcolor=#ff0000><div align=\"center\"><font face=arial,"
                      "helvetica size=2><a href=\"CalendarDay.asp?DAY=5&"),
            std::string::npos);

  SetNow(2003, 11, 8, 10, 40);  // Saturday
  html = WithoutAddedNames(Run(month, 2003, 11, 8));
  EXPECT_EQ(Count(html, "#ff0000"), 0);
  EXPECT_EQ(Count(html, "<td width=18 bgcolor=#999999>"), 10);  // 1, 2, 8, 9, ... 29, 30

  AllDay day;
  SetNow(2003, 11, 4, 10, 40);
  EXPECT_EQ(Count(Run(day, 2003, 11, 4), " bgcolor=\"#FF0000\""), 12);
  EXPECT_EQ(Count(Run(day, 2003, 11, 5), " bgcolor=\"#f7f7f7\""), 12);
}

// ---- Day ---------------------------------------------------------------------------------

std::string FreeSlots(int n) {
  std::string html;
  for (int i = 0; i < n; ++i) html += "<td width=\"25\" bgcolor=\"#BBBBBB\">&nbsp;</td>";
  return html;
}

std::string DayRun(int n, const std::string& account, const std::string& image) {
  return "<td width=\"25\" colspan=\"" + std::to_string(n) +
         "\" bgcolor=\"#0066CC\"><div align=\"center\"><a href=\"CalendarPersonalDay.asp" +
         DateLink(2003, 11, 4, account) + "\"><img src=\"images/" + image + "_pix.gif\" width=\"" +
         std::to_string(26 * n) + "\" height=\"19\" border=\"0\"></a></div></td>";
}

std::string DayUser(const std::string& account, const std::string& name) {
  const std::string link = DateLink(2003, 11, 4, account);
  return "<tr><td width=\"15\"><a href=\"CalendarPersonalDay.asp" + link +
         "\"><img src=\"images/outlook.gif\" width=\"16\" height=\"14\" border=\"0\"></a></td>"
         "<td width=\"185\" bgcolor=\"#E5E5E5\"><a href=\"CalendarPersonalDay.asp" + link +
         "\"><font face=\"Verdana, Arial, Helvetica, sans-serif\" size=\"2\"><img src=\"images/"
         "dot.gif\" width=\"10\" height=\"1\" border=\"0\">" + name + "</font></a></td>";
}

TEST_F(TeamViews, DayJoinsBusySlotsIntoRunsAndAnAllDayUserSpansTheRow) {
  Mailboxes();
  // 9:00-10:30 is slots 5-7; 13:00-14:00 and 14:30-15:30 leave slot 15 free between them.
  Import("alice", Timed("three", "20031104T090000", "20031104T103000") +
                      Timed("before", "20031104T130000", "20031104T140000") +
                      Timed("after", "20031104T143000", "20031104T153000",
                            "LOCATION:Room 2\r\n"));
  Import("bea", AllDayEvent("away", "20031104", "20031105"));
  AllDay page;
  std::string expected = "<table width=\"825\" cellpadding = \"0\" cellspacing=\"1\"><tr>"
                         "<td width=\"15\"></td><td width=\"185\"></td>";
  for (int hour = 7; hour <= 18; ++hour) {
    expected += "<td width=\"51\" colspan=\"2\" bgcolor=\"#f7f7f7\"><font face=\"Verdana, Arial, "
                "Helvetica, sans-serif\" size=\"1\">" + std::to_string(hour) + ":00</font></td>";
  }
  expected += "</tr>" + DayUser("alice", "Alice Walker") + FreeSlots(4) +
              DayRun(3, "alice", "NoLocation") + FreeSlots(5) + DayRun(2, "alice", "NoLocation") +
              FreeSlots(1) + DayRun(2, "alice", "Location") + FreeSlots(7) + "</tr>" +
              DayUser("bea", "Bea &lt;b&gt;Bold&lt;/b&gt;") + DayRun(24, "bea", "NoLocation") +
              "</tr>" + DayUser("carl", "Carl Diaz") + FreeSlots(24) + "</tr></table>";
  EXPECT_EQ(WithoutAddedNames(Run(page, 2003, 11, 4)), expected);
  EXPECT_NE(expected.find("colspan=\"24\""), std::string::npos);
  EXPECT_NE(expected.find("width=\"624\""), std::string::npos);
}

// ---- Week --------------------------------------------------------------------------------

std::string WeekBlock(int width, const std::string& text_width, int day, const std::string& image) {
  return "<td bgcolor=\"#0066CC\" width=\"" + std::to_string(width) +
         "%\"><div align=\"center\"><a href=\"CalendarPersonalDay.asp" +
         DateLink(2003, 11, day, "alice") + "\"><img src=\"images/" + image +
         "_pix.gif\" width=\"" +
         text_width + "\" height=\"19\" border=\"0\"></a></div></td>";
}

std::string WeekFree(int width) {
  return "<td width=\"" + std::to_string(width) + "%\">&nbsp;</td>";
}

std::string WeekDay(int day, const std::string& slots) {
  return "</td><td width=\"80\" bgcolor=\"" + std::string(day >= 8 ? "#CCCCCC" : "#f7f7f7") +
         "\"><center><table width=\"96%\" border=\"0\" cellspacing=\"0\" cellpadding=\"0\"><tr>" +
         slots + "</tr></table></center>";
}

TEST_F(TeamViews, WeekDrawsRunsAtTheStartTheMiddleAndTheEndOfADay) {
  Mailboxes();
  // Tuesday 4 November: 7-9 (slots 1-2), 12-13 (slot 6, located), 17-19 (slots 11-12).
  Import("alice", Timed("early", "20031104T070000", "20031104T090000") +
                      Timed("noon", "20031104T120000", "20031104T130000", "LOCATION:Cafe\r\n") +
                      Timed("late", "20031104T170000", "20031104T190000") +
                      Timed("thu", "20031106T100000", "20031106T110000"));
  AllWeek page;
  const std::string html = WithoutAddedNames(Run(page, 2003, 11, 5));
  std::string alice;
  for (int day = 3; day <= 9; ++day) {
    if (day == 4) {
      alice += WeekDay(day, WeekBlock(16, "13.3333333333333", 4, "NoLocation") + WeekFree(24) +
                                WeekBlock(8, "6.66666666666667", 4, "Location") + WeekFree(32) +
                                WeekBlock(16, "13.3333333333333", 4, "NoLocation"));
    } else if (day == 6) {
      alice += WeekDay(day, WeekFree(24) + WeekBlock(8, "6.66666666666667", 6, "NoLocation") +
                                WeekFree(64));
    } else {
      alice += WeekDay(day, WeekFree(96));
    }
  }
  // The week table names its dot picture without the images folder.
  const std::string name_cell =
      "dot.gif\" width=\"10\" height=\"1\" border=\"0\">Alice Walker</font></a>";
  const auto start = html.find(name_cell);
  ASSERT_NE(start, std::string::npos);
  EXPECT_EQ(html.substr(start + name_cell.size(), alice.size()), alice);
  // Users' rows and the last day cell are left open.
  EXPECT_EQ(Count(html, WeekFree(96)), 7 + 7 + 5);
  const std::string end = "</tr></table></center></table>";
  EXPECT_EQ(html.substr(html.size() - end.size()), end);
}

// ---- Now ---------------------------------------------------------------------------------

TEST_F(TeamViews, NowShowsFiveTilesARowWithEachUsersStatus) {
  const People six = {{"alice", "Alice Walker"}, {"bea", "Bea Stone"},  {"carl", "Carl Diaz"},
                      {"dora", "Dora Lind"},     {"ed", "Ed Moss"},     {"fay", "Fay Ruiz"}};
  UseDirectory(six);
  for (const auto& person : six) store_.CreateMailbox(kDomain, person.first);
  Import("alice", Timed("busy", "20031105T100000", "20031105T113000"));
  Import("bea", Timed("maybe", "20031105T100000", "20031105T110000", "STATUS:TENTATIVE\r\n"));
  Import("carl", Timed("out", "20031105T090000", "20031105T120000",
                       "X-MICROSOFT-CDO-BUSYSTATUS:OOF\r\n"));
  Import("dora", Timed("hidden", "20031105T100000", "20031105T110000", "CLASS:PRIVATE\r\n"));
  Import("ed", Timed("open", "20031105T100000", "20031105T110000", "TRANSP:TRANSPARENT\r\n"));
  AllNow page;
  const std::string html = WithoutAddedNames(Run(page, 2003, 11, 5));
  auto tile = [](const std::string& account, const std::string& picture, const std::string& name) {
    return "<td valign=top width=90 bgcolor=#eeeeee><div align=\"left\"><a href=\"CalendarPersonal"
           "Day.asp" + DateLink(2003, 11, 5, account) + "\"><img height=32 src=\"images/" +
           picture + ".gif\" width=32 border=1></a><br><font face=arial,helvetica color=#999999 "
           "size=1>10:30:00 AM - 11:30:00 AM</font><br><font face=arial,helvetica size=2>" + name +
           "</font></div></td>";
  };
  EXPECT_EQ(html, "<table cellspacing=2 cellpadding=2 width=\"99%\" border=0><tbody><tr>" +
                      tile("alice", "cap-busy", "Alice Walker") +
                      tile("bea", "cap-prov", "Bea Stone") + tile("carl", "cap-fort", "Carl Diaz") +
                      tile("dora", "cap-leer", "Dora Lind") + tile("ed", "cap-leer", "Ed Moss") +
                      "</tr><tr>" + tile("fay", "cap-leer", "Fay Ruiz") + "</tbody></table>");
}

// ---- Added names -------------------------------------------------------------------------

// Every picture and link the grids print says what it shows, escaped like the name it repeats.
TEST_F(TeamViews, PicturesAndLinksSayWhoseWhenAndWhat) {
  Mailboxes();
  Import("alice", Timed("room", "20031104T090000", "20031104T103000", "LOCATION:Room 2\r\n") +
                      Timed("now", "20031105T100000", "20031105T113000"));
  Import("bea", Timed("plain", "20031104T130000", "20031104T140000"));
  const std::string bea = "Bea &lt;b&gt;Bold&lt;/b&gt;";
  auto named = [](const std::string& text) {
    return " alt=\"" + text + "\" title=\"" + text + "\">";
  };
  AllMonth month;
  AllWeek week;
  AllDay day;
  AllNow now;
  const struct {
    const char* page;
    std::string html;
    std::vector<std::string> pieces;
  } cases[] = {
      {"month", Run(month, 2003, 11, 5),
       {"border=\"0\"" + named("Alice Walker: personal month"),
        "border=\"0\" alt=\"\">Alice Walker</font>",
        "_pix.gif\" width=18 border=0" +
            named("Alice Walker, Tuesday 4 November: busy, with a location"),
        "_pix.gif\" width=18 border=0" + named(bea + ", Tuesday 4 November: busy")}},
      {"week", Run(week, 2003, 11, 5),
       {"border=\"0\"" + named("Alice Walker: personal week"),
        "height=\"19\" border=\"0\"" +
            named("Alice Walker, Tuesday 4 November, 9:00 to 11:00: busy, with a location"),
        "height=\"19\" border=\"0\"" + named(bea + ", Tuesday 4 November, 13:00 to 14:00: busy")}},
      {"day", Run(day, 2003, 11, 4),
       {"border=\"0\"" + named(bea + ": personal day"),
        "height=\"19\" border=\"0\"" + named("Alice Walker, 9:00 to 10:30: busy, with a location"),
        "height=\"19\" border=\"0\"" + named(bea + ", 13:00 to 14:00: busy")}},
      {"now", Run(now, 2003, 11, 5),
       {"width=32 border=1" + named("Alice Walker: busy now"),
        "width=32 border=1" + named(bea + ": free now")}},
  };
  for (const auto& c : cases) {
    for (const std::string& piece : c.pieces) {
      EXPECT_NE(c.html.find(piece), std::string::npos) << c.page << " lacks " << piece;
    }
    // Every picture has its text; only the spacer's is empty.
    EXPECT_EQ(Count(c.html, "<img "), Count(c.html, " alt=\"")) << c.page;
  }
}

// ---- Errors ------------------------------------------------------------------------------

TEST_F(TeamViews, AMissingMailboxIsReportedAndTheOthersStillShow) {
  store_.CreateMailbox(kDomain, "alice");
  store_.CreateMailbox(kDomain, "carl");
  Import("carl", Timed("m", "20031106T090000", "20031106T100000"));
  AllMonth page;
  const std::string html = WithoutAddedNames(Run(page, 2003, 11, 5));
  EXPECT_EQ(page.PrintGenerateErrors(),
            "<font face=\"Verdana, Arial, Helvetica, sans-serif\" size=\"2\"><b>ERROR:</b> Orbitel "
            "does not have access to Bea &lt;b&gt;Bold&lt;/b&gt;'s Exchange calendar. Please <a "
            "href=\"help/permissions.html\">enable permissions</a> or go to the <a href=\""
            "CalendarOptions.asp\">Calendar options</a> and remove this user.</font><br>");
  EXPECT_NE(html.find(MonthRow("carl", "Carl Diaz", 2003, 11, 5, 30, {{6, "NoLocation"}})),
            std::string::npos);
  EXPECT_NE(html.find(MonthRow("alice", "Alice Walker", 2003, 11, 5, 30, {})), std::string::npos);
}

TEST_F(TeamViews, EveryMailboxMissingGivesTheGeneralMessage) {
  ASSERT_TRUE(data::LocalStoreDatabase::OpenOrCreate(store_.root_, kDomain).ok());
  AllDay page;
  Run(page, 2003, 11, 4);
  const std::string errors = page.PrintGenerateErrors();
  EXPECT_EQ(errors.rfind("<font face=\"Verdana, Arial, Helvetica, sans-serif\" size=\"2\"><b>"
                         "ERROR:</b> Orbitel could not query the exchange store. ", 0),
            0u);
  EXPECT_EQ(errors.find("does not have access"), std::string::npos);
}

TEST_F(TeamViews, NoDirectoryGivesTheNoDomainMessage) {
  ConnectDirectory("");
  AllWeek page;
  const std::string html = WithoutAddedNames(Run(page, 2003, 11, 5));
  EXPECT_EQ(page.PrintGenerateErrors(),
            "<font face=\"Verdana, Arial, Helvetica, sans-serif\" size=\"2\"><b>ERROR:</b> No "
            "domain was found on this computer. Please make sure that this computer is on a "
            "domain and try again.</font><br>");
  EXPECT_EQ(html.find("outlook.gif"), std::string::npos);
}

}  // namespace
}  // namespace orbitel::views
