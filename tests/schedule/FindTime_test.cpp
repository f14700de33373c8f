// Finding a time, free/busy and the feed on one known week of every kind of appointment, read
// from the local store and from a real Radicale server the suite starts: both give the same answers.
#include "schedule/FindTime.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <regex>

#include "RadicaleServer.h"
#include "ical/ICalendar.h"
#include "ical/IcalSupport.h"
#include "schedule/BusyPeriods.h"
#include "schedule/CalendarFeed.h"
#include "schedule/CalendarReading.h"
#include "schedule/FreeBusyText.h"
#include "site/SiteSettings.h"
#include "views/ViewFixture.h"

namespace orbitel::schedule {
namespace {

using views::testing::AllDayEvent;
using views::testing::Event;
using views::testing::Timed;

constexpr char kUser[] = "orbitel";
constexpr char kPassword[] = "team";
constexpr char kDomain[] = "orbitel.demo";

// The week of Monday 10 November 2003, New York standard time (UTC-5). cdiaz has an empty
// calendar; dchen, in the directory too, has none at all.
const std::vector<std::pair<std::string, std::string>> kCalendars = {
    {"alice", Timed("a-trip", "20031108T120000", "20031110T080000") +
                  Timed("a-review", "20031110T090000", "20031110T103000") +
                  Timed("a-optional", "20031110T110000", "20031110T120000", "TRANSP:TRANSPARENT\r\n") +
                  Event("a-doctor", "SUMMARY:Doctor\r\nLOCATION:Clinic\r\nDTSTART:20031111T130000\r\n"
                                    "DTEND:20031111T140000\r\nCLASS:PRIVATE\r\n") +
                  AllDayEvent("a-holiday", "20031112", "20031113") +
                  Timed("a-away", "20031114T130000", "20031114T190000", "X-MICROSOFT-CDO-BUSYSTATUS:OOF\r\n")},
    {"bmartin",
     Timed("b-standup", "20031103T100000", "20031103T103000",
           "RRULE:FREQ=DAILY;COUNT=20\r\nEXDATE:20031111T100000\r\n") +
         Timed("b-standup", "20031113T160000", "20031113T163000", "RECURRENCE-ID:20031113T100000\r\n") +  // moved
         Timed("b-sync", "20031110T101500", "20031110T110000") +
         Timed("b-maybe", "20031111T140000", "20031111T150000", "STATUS:TENTATIVE\r\n") +
         Timed("b-call", "20031111T143000", "20031111T150000")},
    {"cdiaz", ""},
};

UtcSeconds Utc(int day, int hour, int minute = 0) { return data::UtcOfLocalParts(2003, 11, day, hour, minute, 0); }

class FindTimeTest : public site::testing::SiteFixture, public ::testing::WithParamInterface<bool> {
 protected:
  static void SetUpTestSuite() {
    setenv("TZ", "America/New_York", 1);
    tzset();
    server_ = std::make_unique<data::testing::RadicaleServer>();
    startup_error_ = server_->Start(kUser, kPassword);
    if (startup_error_.empty()) startup_error_ = server_->StoreSiteCalendars(data::testing::CalendarTexts(kCalendars));
  }
  static void TearDownTestSuite() { server_.reset(); }

  void SetUp() override {
    SiteFixture::SetUp();
    if (!startup_error_.empty()) GTEST_FAIL() << startup_error_;
    site::KeepTimeZoneForThread({300, -60}, 1);
    // Monday 8:15: the 45 minutes left before alice's review are too short for an hour.
    FixClock(*Date::FromParts(2003, 11, 10)->AddSeconds(8 * 3600 + 15 * 60));
    const bool caldav = GetParam();
    std::string settings = site::testing::ReadFile("www/OrbitelSettings.xml");
    const std::string shipped = "ExchangeServerName='' ExchangeViaBackoffice='True'";
    settings.replace(settings.find(shipped), shipped.size(),
                     caldav ? "ExchangeServerName='127.0.0.1:" + std::to_string(server_->port()) +
                                  "' ExchangeViaBackoffice='False'"
                            : std::string("ExchangeServerName='") + kDomain + "' ExchangeViaBackoffice='True'");
    site::testing::WriteFile(File("OrbitelSettings.xml"), settings);
    data::StoreSettings stores{(folder_ / "store").string()};
    stores.credentials = data::StoreCredentials{kUser, kPassword};
    UseStores(stores);
    if (!caldav) data::testing::FillMailboxes(stores.store_root, kDomain, data::testing::CalendarTexts(kCalendars));
    site::GetSiteVars();
    ASSERT_TRUE(site::Site().SettingsLoaded);
  }
  void TearDown() override {
    FixClock(std::nullopt);
    site::KeepTimeZoneForThread({}, 0);
    SiteFixture::TearDown();
  }

  std::vector<ScheduleItem> Items(const std::string& account, bool details = false) {
    auto read = ReadCalendars({account}, Utc(10, 0), Utc(15, 0), details);
    EXPECT_TRUE(read.front().ok()) << account;
    return read.front().ok() ? read.front().value() : std::vector<ScheduleItem>();
  }

  // The page's answer as text: "<day> <from> to <to>" a time, then the messages.
  std::string Found(const std::string& extra_query) {
    std::map<std::string, std::string> query = {{"Find", "1"},     {"From", "2003-11-10"}, {"To", "2003-11-14"},
                                                {"DayStart", "7"}, {"DayEnd", "19"},       {"Length", "60"},
                                                {"Tentative", "on"}};
    for (std::size_t at = 0; at < extra_query.size();) {
      const std::size_t amp = extra_query.find('&', at), eq = extra_query.find('=', at);
      query[extra_query.substr(at, eq - at)] = extra_query.substr(eq + 1, amp - eq - 1);
      at = amp == std::string::npos ? amp : amp + 1;
    }
    context_ = std::make_shared<site::MemoryPageContext>();
    for (const auto& [key, value] : query) context_->Query(key, value);
    FindTime page;
    page.OnStartPage(context_);
    page.GenerateFindTime();
    const std::string html = page.PrintGenerateErrors() + page.PrintFreeTimes();
    static const std::regex time_link(R"(<li><a href="CalendarDay\.asp\?DAY=(\d+)&MONTH=11&YEAR=2003&USER=">[^<]*</a>)");
    std::string text = std::regex_replace(html, time_link, "|$1");
    return std::regex_replace(text, std::regex("<[^>]*>"), "");
  }

  static inline std::unique_ptr<data::testing::RadicaleServer> server_;
  static inline std::string startup_error_;
};

TEST_P(FindTimeTest, BusyPeriodsMergeByKindAndClipToTheSpan) {
  using K = BusyKind;
  EXPECT_EQ(MergeBusy(Items("alice"), Utc(10, 0), Utc(15, 0)),
            (std::vector<BusyPeriod>{{Utc(10, 0), Utc(10, 8), K::kBusy},        // the trip, begun Saturday
                                     {Utc(10, 9), Utc(10, 10, 30), K::kBusy},   // not the free one at 11
                                     {Utc(11, 13), Utc(11, 14), K::kBusy},      // private
                                     {Utc(12, 0), Utc(13, 0), K::kBusy},        // all day
                                     {Utc(14, 13), Utc(14, 19), K::kOutOfOffice}}));
  EXPECT_EQ(MergeBusy(Items("bmartin"), Utc(10, 0), Utc(15, 0)),
            (std::vector<BusyPeriod>{{Utc(10, 10), Utc(10, 11), K::kBusy},  // standup and sync, merged
                                     {Utc(11, 14), Utc(11, 14, 30), K::kTentative},  // the call is stronger
                                     {Utc(11, 14, 30), Utc(11, 15), K::kBusy},
                                     {Utc(12, 10), Utc(12, 10, 30), K::kBusy},
                                     {Utc(13, 16), Utc(13, 16, 30), K::kBusy},  // moved
                                     {Utc(14, 10), Utc(14, 10, 30), K::kBusy}}));
}

TEST_P(FindTimeTest, ListsTheEarliestTimesAllAreFreeAndNamesCalendarsNotRead) {
  const std::string everyone = "|10 11:00 to 19:00|11 7:00 to 13:00|11 15:00 to 19:00"
                               "|13 7:00 to 16:00|13 16:30 to 19:00|14 7:00 to 10:00|14 10:30 to 13:00";
  EXPECT_EQ(Found("People=alice, bmartin, cdiaz"), everyone);
  // dchen has no calendar: named, and the others' times still shown.
  EXPECT_EQ(Found("People=alice, bmartin, cdiaz, dchen"),
            "ERROR: The calendars of David Chen could not be read: the times below leave them out." + everyone);
  // Unticked, the tentative meeting leaves half an hour before bmartin's call.
  EXPECT_EQ(Found("People=alice, bmartin&Tentative=&Length=30"),
            "|10 8:15 to 9:00|10 11:00 to 19:00|11 7:00 to 13:00|11 14:00 to 14:30|11 15:00 to 19:00"
            "|13 7:00 to 16:00|13 16:30 to 19:00|14 7:00 to 10:00|14 10:30 to 13:00");
  EXPECT_EQ(Found("People=alice&Length=day"), "|13 7:00 to 19:00");
  EXPECT_EQ(Found("People=bmartin&Length=day&DayStart=11&DayEnd=17"),
            "|10 11:00 to 17:00|12 11:00 to 17:00|14 11:00 to 17:00");
  // Suggestions for the whole team (everyone in the users file, most without a calendar here):
  // the least busy first, the earlier first among equals.
  const std::string suggested = Found("Mode=suggest&Length=120&From=2003-11-12&To=2003-11-12&DayStart=8&DayEnd=18");
  EXPECT_NE(suggested.find("could not be read: the times below leave them out.|12 8:00 to 10:00: 2 of 3 free"
                           "|12 10:30 to 12:30: 2 of 3 free|12 11:00 to 13:00: 2 of 3 free"),
            std::string::npos)
      << suggested;
  // bmartin's tentative meeting and call are one person busy.
  EXPECT_NE(Found("Mode=suggest&Length=240&From=2003-11-11&To=2003-11-11&DayStart=11&DayEnd=17")
                .find("|11 11:00 to 15:00: 1 of 3 free"),
            std::string::npos);
}

TEST_P(FindTimeTest, BadInputIsNamedAndNothingIsSearched) {
  const std::pair<const char*, const char*> cases[] = {
      {"From=2003-11-31", "The first day \"2003-11-31\" is not a date"},
      {"To=soon", "The last day \"soon\" is not a date"},
      {"From=2003-11-14&To=2003-11-10", "The last day is before the first day."},
      {"To=2004-11-10", "The days span more than a year."},
      {"Length=0", "is not a number of minutes"},
      {"Length=780", "The length is longer than the working hours of a day."},
      {"DayStart=19&DayEnd=7", "The working hours end before they start."},
      {"People=alice, <b>zed</b>", "There is nobody with the account name \"&lt;b&gt;zed&lt;/b&gt;\"."},
      {"People=", "Pick at least one person."},
  };
  for (const auto& [query, message] : cases) {
    const std::string answer = Found(query[0] == 'P' ? query : std::string("People=alice&") + query);
    EXPECT_NE(answer.find(message), std::string::npos) << query << ": " << answer;
    EXPECT_EQ(answer.find('|'), std::string::npos) << query;
  }
}

TEST_P(FindTimeTest, FreeBusyAndFeedParseAndTellNothingPrivate) {
  const std::string freebusy = FreeBusyText("mailto:alice@orbitel.demo", Utc(10, 0), Utc(15, 0),
                                            MergeBusy(Items("alice"), Utc(10, 0), Utc(15, 0)), Utc(10, 7));
  ASSERT_TRUE(data::ical::ParseComponent(freebusy)) << freebusy;
  static const std::regex period("\r\n(FREEBUSY;[^\r]*)");
  std::vector<std::string> lines;
  for (std::sregex_iterator it(freebusy.begin(), freebusy.end(), period), end; it != end; ++it) lines.push_back((*it)[1]);
  ASSERT_EQ(lines.size(), 5u) << freebusy;
  EXPECT_EQ(lines[0], "FREEBUSY;FBTYPE=BUSY:20031110T050000Z/20031110T130000Z");
  EXPECT_EQ(lines[4], "FREEBUSY;FBTYPE=BUSY-UNAVAILABLE:20031114T180000Z/20031115T000000Z");

  const std::string feed = FeedText("Alice Walker", Items("alice", true), PrivateInFeed::kAsBusy, Utc(10, 7));
  auto events = data::ParseCalendar(feed);
  ASSERT_TRUE(events.ok()) << feed;
  EXPECT_EQ(events->size(), 6u);
  EXPECT_NE(feed.find("SUMMARY:Busy\r\nCLASS:PRIVATE"), std::string::npos) << feed;
  EXPECT_NE(feed.find("DTSTART;VALUE=DATE:20031112\r\nDTEND;VALUE=DATE:20031113"), std::string::npos) << feed;
  EXPECT_EQ(feed.find("Doctor"), std::string::npos);
  EXPECT_EQ(feed.find("Clinic"), std::string::npos);
  const std::string left_out = FeedText("Alice Walker", Items("alice", true), PrivateInFeed::kLeftOut, Utc(10, 7));
  EXPECT_EQ(left_out.find("PRIVATE"), std::string::npos);
  EXPECT_EQ(data::ParseCalendar(left_out)->size(), 5u);
}

INSTANTIATE_TEST_SUITE_P(Stores, FindTimeTest, ::testing::Values(false, true),
                         [](const auto& info) { return info.param ? "CalDav" : "LocalStore"; });

}  // namespace
}  // namespace orbitel::schedule
