// The page frame through small page classes: the requested-date rules with their keywords, the
// date links and their one-character rule, the shared methods and the page start.
#include <gtest/gtest.h>

#include "SiteFixture.h"
#include "runtime/Conversions.h"
#include "site/Clock.h"
#include "site/DateNavigation.h"
#include "site/PageFrame.h"

namespace orbitel::site {
namespace {

// Pages as the views declare theirs.
struct MonthPage : DatedPage {
  MonthPage() : DatedPage({"CalendarMonth.asp", DateStep::kMonth, 1}) {}
};
struct WeekPage : DatedPage {
  WeekPage() : DatedPage({"CalendarWeek.asp", DateStep::kWeek, 1}) {}
};
struct ItemPage : PageFrame {
  ItemPage() : PageFrame({"CalendarItem.asp", DateStep::kNone, 2, false}) {}
};

Date Day(int year, int month, int day) { return *Date::FromParts(year, month, day); }

class PageFrameTest : public testing::SiteFixture {
 protected:
  void SetUp() override {
    SiteFixture::SetUp();
    FixClock(*Day(2003, 12, 1).AddHours(10));  // Monday 1 December 2003
  }
  void TearDown() override {
    FixClock(std::nullopt);
    SiteFixture::TearDown();
  }

  // The date a page start makes of a query.
  std::string Requested(std::initializer_list<std::pair<const char*, const char*>> query) {
    auto context = std::make_shared<MemoryPageContext>();
    for (const auto& [key, value] : query) context->Query(key, value);
    MonthPage page;
    page.OnStartPage(context);
    return Site().RequestedDate;
  }
};

TEST_F(PageFrameTest, RequestedDateRules) {
  struct Case {
    std::initializer_list<std::pair<const char*, const char*>> query;
    const char* expected;
  } cases[] = {
      {{}, "12/1/2003"},
      {{{"DAY", "5"}, {"MONTH", "3"}, {"YEAR", "2003"}}, "3/5/2003"},
      {{{"DAY", "31"}, {"MONTH", "2"}, {"YEAR", "2003"}}, "3/3/2003"},    // carries into March
      {{{"MONTH", "0"}, {"YEAR", "2003"}}, "12/1/2002"},                  // month 0: December before
      {{{"MONTH", "nextmonth"}}, "1/1/2004"},                             // month 13 carries
      {{{"MONTH", "previousmonth"}, {"YEAR", "2010"}}, "11/1/2010"},      // year follows its own key
      {{{"DAY", "previousday"}}, "11/30/2003"},                           // day 0: last of November
      {{{"DAY", "nextday"}, {"MONTH", "6"}}, "6/2/2003"},
      {{{"DAY", "today"}, {"MONTH", "2"}, {"YEAR", "2004"}}, "2/1/2004"},
      {{{"YEAR", "nextyear"}}, "12/1/2004"},
      {{{"YEAR", "previousyear"}}, "12/1/2002"},
      {{{"MONTH", "NextMonth"}}, "12/1/2003"},                            // keywords are exact
      {{{"MONTH", "abc"}}, "12/1/2003"},
      {{{"MONTH", "2.5"}, {"DAY", "3.5"}}, "2/4/2003"},                   // half to even
      {{{"YEAR", "3"}, {"MONTH", "5"}, {"DAY", "1"}}, "5/1/2003"},        // two-digit year
      {{{"YEAR", "99"}, {"MONTH", "5"}, {"DAY", "1"}}, "5/1/1999"},
  };
  for (const Case& c : cases) {
    Site().RequestedDate.clear();
    EXPECT_EQ(Requested(c.query), c.expected);
  }
}

// A date past the calendar's range, and the appointment page (which has no date), keep the one before.
TEST_F(PageFrameTest, OverflowAndTheAppointmentPageKeepThePreviousDate) {
  EXPECT_EQ(Requested({{"DAY", "5"}, {"MONTH", "3"}, {"YEAR", "2003"}}), "3/5/2003");
  for (const auto& [key, value] : {std::pair{"MONTH", "40000"}, {"YEAR", "32767"}, {"DAY", "-32769"}}) {
    EXPECT_EQ(Requested({{key, value}}), "3/5/2003") << key;
  }
  auto context = std::make_shared<MemoryPageContext>();
  context->Query("DAY", "9");
  ItemPage item;
  item.OnStartPage(context);
  EXPECT_EQ(Site().RequestedDate, "3/5/2003");
  EXPECT_EQ(Site().PageContext, context);
}

TEST_F(PageFrameTest, DateLinkCarriesTheRequestUserUnlessGivenALongerOne) {
  context_->Query("USER", "mbrown");
  const Date date = Day(2003, 3, 5);
  for (const auto& [given, used] : {std::pair{"alice", "alice"}, {"al", "al"}, {"o'neil<", "o&#39;neil&lt;"},
                                    {"a", "mbrown"}, {"", "mbrown"}}) {
    EXPECT_EQ(BuildDateLinkQuery(date, given), std::string("?DAY=5&MONTH=3&YEAR=2003&USER=") + used) << given;
  }

  Site().PageContext = std::make_shared<MemoryPageContext>();  // no USER at all
  EXPECT_EQ(BuildDateLinkQuery(date, "x"), "?DAY=5&MONTH=3&YEAR=2003&USER=");
}

TEST_F(PageFrameTest, SharedMethodsMoveByThePageStep) {
  auto context = std::make_shared<MemoryPageContext>();
  context->Query("DAY", "31").Query("MONTH", "1").Query("YEAR", "2004").Query("USER", "mbrown");
  MonthPage month;
  month.OnStartPage(context);
  EXPECT_EQ(month.ShowDateLink(), "?DAY=31&MONTH=1&YEAR=2004&USER=mbrown");
  EXPECT_EQ(month.ShowNextDate(), "CalendarMonth.asp?DAY=29&MONTH=2&YEAR=2004&USER=mbrown");
  EXPECT_EQ(month.ShowPreviousDate(), "CalendarMonth.asp?DAY=31&MONTH=12&YEAR=2003&USER=mbrown");
  EXPECT_EQ(month.ShowCurrentDate(), "Saturday, January 31, 2004");

  WeekPage week;
  week.OnStartPage(context);
  EXPECT_EQ(week.ShowNextDate(), "CalendarWeek.asp?DAY=7&MONTH=2&YEAR=2004&USER=mbrown");
  EXPECT_EQ(week.ShowPreviousDate(), "CalendarWeek.asp?DAY=24&MONTH=1&YEAR=2004&USER=mbrown");
}

// A thread's first page finds the site by its own path and loads the settings; no site, still a date.
TEST_F(PageFrameTest, FirstPageOfAThreadFindsTheSiteAndLoadsTheSettings) {
  for (const std::string& site : {folder_.string() + "/", std::string("/nowhere/at/all/")}) {
    Site() = SiteState();
    auto context = std::make_shared<MemoryPageContext>();
    context->Variable("PATH_TRANSLATED", site + "CalendarMonth.asp").Query("DAY", "7");
    MonthPage page;
    page.OnStartPage(context);
    EXPECT_EQ(Site().SitePath, site);
    const bool found = site != "/nowhere/at/all/";
    EXPECT_EQ(Site().SettingsLoaded, found);
    EXPECT_EQ(Site().AdminUserName, found ? "admin" : "");
    EXPECT_EQ(Site().RequestedDate, "12/7/2003");
  }
}

}  // namespace
}  // namespace orbitel::site
