// A team's period queries over CalDAV (a real Radicale): the grid, error text and error log are
// the local store's, whether fetched ahead, asked one by one or read from the calendars' mirror;
// the mirror keeps in step with the server and Orbitel's writes, and through the server's troubles.
#include "calendar/CalendarQuery.h"

#include <gtest/gtest.h>

#include <signal.h>

#include <chrono>
#include <ctime>
#include <functional>
#include <future>
#include <ostream>
#include <thread>

#include "RadicaleServer.h"
#include "StoreFixture.h"
#include "caldav/CalDavStore.h"
#include "caldav/CalendarMirror.h"
#include "caldav/MirrorRefresh.h"
#include "runtime/ErrorNumbers.h"
#include "site/Clock.h"
#include "site/SiteFixture.h"
#include "site/SiteSettings.h"
#include "site/SiteState.h"
#include "site/TimeZone.h"
#include "store/StoreTime.h"

namespace orbitel::calendar {
namespace {

using data::testing::Calendar;
using data::testing::Event;

constexpr char kUser[] = "orbitel";
constexpr char kPassword[] = "team";
// The pages' clock: 10:40 in New York on November 5th, 2003.
const Date kNow = *Date::FromParts(2003, 11, 5)->AddSeconds(10 * 3600 + 40 * 60);
const data::UtcSeconds kToday = data::UtcOfDate(*Date::FromParts(2003, 11, 5)) + 15 * 3600 + 40 * 60;

// Floating and UTC times, all day, a series with exceptions, and items the pages leave out.
const std::vector<std::pair<std::string, std::string>> kCalendars = {
    {"alice", Event("a-review", "SUMMARY:Review\nDTSTART:20031104T090000\nDTEND:20031104T103000\nLOCATION:Room 1\n") +
                  Event("a-lunch", "SUMMARY:Lunch\nDTSTART:20031105T170000Z\nDTEND:20031105T180000Z\n") +
                  Event("a-holiday", "SUMMARY:Thanksgiving\nDTSTART;VALUE=DATE:20031127\nDTEND;VALUE=DATE:20031129\n") +
                  Event("a-private", "SUMMARY:Doctor\nDTSTART:20031106T090000\nDTEND:20031106T100000\n"
                                     "CLASS:PRIVATE\n")},
    {"bob", Event("b-standup", "SUMMARY:Standup\nDTSTART:20031020T100000\nDTEND:20031020T103000\n"
                               "RRULE:FREQ=WEEKLY;COUNT=8\nEXDATE:20031110T100000\n") +
                Event("b-standup", "RECURRENCE-ID:20031117T100000\nDTSTART:20031118T140000\n"
                                   "DTEND:20031118T143000\nSUMMARY:Standup (moved)\n") +
                Event("b-optional", "SUMMARY:Optional\nDTSTART:20031105T100000\nDTEND:20031105T110000\n"
                                    "TRANSP:TRANSPARENT\n")},
    {"erin", Event("e-now", "SUMMARY:Workshop\nDTSTART:20031105T090000\nDTEND:20031105T120000\n")},
};

// carol has no calendar, dan a plain collection in its place, and no URL holds "bad name" as it is.
const site::UserList kTeam = {"alice|Alice Walker", "carol|Carol Nobody", "bob|Bob <b>Bold</b>",
                              "dan|Dan Plain", "bad name|Bad Name", "erin|Erin Early"};
const site::UserList kNobody = {"carol|Carol Nobody", "bad name|Bad Name"};

// The grid's bounds, and the calendar date the view passes.
struct Period { const char* name; int days, fields, year, month, day; };
const Period kPeriods[] = {
    {"31", 31, 1, 2003, 11, 1}, {"7", 8, 36, 2003, 11, 3},  {"1", 3, 24, 2003, 11, 5},
    {"now", 1, 0, 2003, 11, 5}, {"Per7", 8, 0, 2003, 11, 3}, {"Per1", 2, 0, 2003, 11, 5},
};
const Period& kMonth = kPeriods[0];

// What a query round leaves behind.
struct Outcome {
  std::vector<std::string> cells;
  std::string error_text, error_log;
  bool operator==(const Outcome&) const = default;
};
void PrintTo(const Outcome& outcome, std::ostream* out) {
  *out << "ErrorText: " << outcome.error_text << "\nlog: " << outcome.error_log << "\ncells:";
  for (const std::string& cell : outcome.cells) *out << " [" << cell << "]";
}

enum class Store { kLocal, kCalDav, kMirror };

class CalDavTeamQueryTest : public site::testing::SiteFixture {
 protected:
  static void SetUpTestSuite() {
    setenv("TZ", "America/New_York", 1);
    tzset();
    server_ = std::make_unique<data::testing::RadicaleServer>();
    startup_error_ = server_->Start(kUser, kPassword);
    if (startup_error_.empty()) startup_error_ = server_->StoreSiteCalendars(data::testing::CalendarTexts(kCalendars));
    if (startup_error_.empty() &&
        (server_->Send("MKCOL", "exchange/dan/") != 201 || server_->Send("MKCOL", "exchange/dan/calendar/") != 201)) {
      startup_error_ = "Radicale did not create dan's plain collection";
    }
  }
  static void TearDownTestSuite() { server_.reset(); }

  void SetUp() override {
    SiteFixture::SetUp();
    if (!startup_error_.empty()) GTEST_FAIL() << startup_error_;
    site::KeepTimeZoneForThread({300, -60}, 1);  // Eastern standard time
    FixClock(kNow);
    data::testing::FillMailboxes((folder_ / "store").string(), "orbitel.demo",
                                 data::testing::CalendarTexts(kCalendars));
  }
  void TearDown() override {
    FixClock(std::nullopt);
    site::KeepTimeZoneForThread({}, 0);
    SiteFixture::TearDown();
  }

  // The site's settings naming the store as the settings page would, loaded as a request does.
  void Use(Store store, bool fetching_ahead = true) {
    std::string settings = site::testing::ReadFile("www/OrbitelSettings.xml");
    const std::string shipped = "ExchangeServerName='' ExchangeViaBackoffice='True'";
    ASSERT_NE(settings.find(shipped), std::string::npos);
    settings.replace(settings.find(shipped), shipped.size(),
                     store == Store::kLocal ? "ExchangeServerName='orbitel.demo' ExchangeViaBackoffice='True'"
                                            : "ExchangeServerName='127.0.0.1:" + std::to_string(server_->port()) +
                                                  "' ExchangeViaBackoffice='False'");
    site::testing::WriteFile(File("OrbitelSettings.xml"), settings);
    site::GetSiteVars();
    ASSERT_TRUE(site::Site().SettingsLoaded);
    data::StoreSettings stores{(folder_ / "store").string()};
    stores.credentials = data::StoreCredentials{kUser, kPassword};
    stores.caldav_mirror = store == Store::kMirror;
    stores.caldav_prefetch = fetching_ahead;
    UseStores(stores);
  }

  // One GetUsersCalender round on a fresh error text and log, the store's URL base logged as <base>.
  Outcome Run(const site::UserList& users, const Period& period) {
    site::SiteState& site = site::Site();
    site.ErrorText.clear();
    std::filesystem::remove(File("Errorfile.Log"));
    context_->Query("DAY", std::to_string(period.day))
        .Query("MONTH", std::to_string(period.month))
        .Query("YEAR", std::to_string(period.year));
    UserCalendar grid(users, period.days, period.fields);
    GetUsersCalender(grid, *Date::FromParts(period.year, period.month, period.day), period.name);
    Outcome outcome{{}, site.ErrorText, ErrorLog()};
    for (int u = 0; u < grid.UserCount(); ++u) {
      for (int d = 0; d <= grid.DayBound(); ++d) {
        for (int f = 0; f <= grid.FieldBound(); ++f) outcome.cells.push_back(grid(u, d, f));
      }
    }
    for (std::size_t at = outcome.error_log.find(site.StoreUrlBase); at != std::string::npos;
         at = outcome.error_log.find(site.StoreUrlBase, at)) {
      outcome.error_log.replace(at, site.StoreUrlBase.size(), "<base>");
    }
    return outcome;
  }

  // One refresh of the users' calendars in the mirror, as of the pages' today.
  data::MirrorRefreshOutcome Refresh(const site::UserList& users, data::MirrorRefreshOptions options = {}) {
    std::vector<std::string> folders;
    for (const std::string& entry : users) folders.push_back(FolderOf(site::SplitUserEntry(entry, false)));
    return data::RefreshMirror(services_.stores, folders, options, kToday);
  }
  std::string FolderOf(const std::string& account) const { return site::Site().StoreUrlBase + account + "/calendar/"; }

  // A calendar of one person made on the server for one test; the person as a team of one.
  static site::UserList MakePerson(const std::string& account) {
    EXPECT_EQ(server_->Send("MKCOL", "exchange/" + account + "/"), 201);
    EXPECT_EQ(server_->Send("MKCALENDAR", "exchange/" + account + "/calendar/"), 201);
    return {account + "|" + account};
  }
  static std::string PathOf(const site::UserList& person) {
    return "exchange/" + site::SplitUserEntry(person.front(), false) + "/calendar/";
  }
  // An hour's appointment on that day of November 2003; put straight on the server by Put.
  static std::string HourOn(const std::string& uid, int day) {
    const std::string date = "200311" + std::to_string(100 + day).substr(1);
    return Calendar(Event(uid, "SUMMARY:" + uid + "\nDTSTART:" + date + "T090000\nDTEND:" + date + "T100000\n"));
  }
  static long Put(const site::UserList& person, const std::string& uid, int day) {
    return server_->Send("PUT", PathOf(person) + uid + ".ics", HourOn(uid, day));
  }
  // The days of a one-person team month that are busy.
  std::vector<int> BusyDays(const site::UserList& person) {
    const Outcome month = Run(person, kMonth);
    std::vector<int> days;
    for (int d = 1; d <= 31; ++d) {
      if (month.cells[d * 2] == "True") days.push_back(d);
    }
    return days;
  }

  static inline std::unique_ptr<data::testing::RadicaleServer> server_;
  static inline std::string startup_error_;
};

TEST_F(CalDavTeamQueryTest, EveryPeriodGivesTheSameGridErrorsAndLogFetchedAheadOrOneByOne) {
  for (const site::UserList* team : {&kTeam, &kNobody}) {
    for (const Period& period : kPeriods) {
      // A personal period shows one person.
      const site::UserList users = period.name[0] == 'P' ? site::UserList{team->front()} : *team;
      SCOPED_TRACE(std::string(period.name) + " for " + users.front() + "...");
      Use(Store::kLocal);
      const Outcome local = Run(users, period);
      Use(Store::kCalDav, false);
      const Outcome one_by_one = Run(users, period);
      Use(Store::kCalDav);
      const Outcome fetched_ahead = Run(users, period);
      Use(Store::kMirror);
      Refresh(users);
      const Outcome mirrored = Run(users, period);
      EXPECT_EQ(fetched_ahead, one_by_one);
      EXPECT_EQ(fetched_ahead, local);
      EXPECT_EQ(mirrored, local);
    }
  }

  // The comparisons above are of real answers: busy days and slots, and every kind of failure.
  Use(Store::kCalDav);
  const Outcome month = Run(kTeam, kMonth);
  const auto cell = [&month](int u, int d, int f) { return month.cells[(u * 32 + d) * 2 + f]; };
  EXPECT_EQ(cell(0, 4, 0), "True");   // alice's review
  EXPECT_EQ(cell(0, 4, 1), "True");   // ... in a room
  EXPECT_EQ(cell(0, 6, 0), "");       // her private appointment is not shown
  EXPECT_EQ(cell(0, 28, 0), "True");  // the holiday's second day
  EXPECT_EQ(cell(2, 10, 0), "");      // bob's excluded standup
  EXPECT_EQ(cell(2, 18, 0), "True");  // the moved one
  EXPECT_EQ(cell(2, 17, 0), "");
  for (const char* name : {"Carol Nobody", "Dan Plain", "Bad Name"}) {
    EXPECT_NE(month.error_text.find(NoAccessError(name)), std::string::npos) << name;
  }
  EXPECT_EQ(month.error_text.find("Alice"), std::string::npos);
  EXPECT_NE(month.error_log.find("Connection URI: <base>erin/calendar/"), std::string::npos) << month.error_log;
  EXPECT_NE(Run(kNobody, kMonth).error_text.find("could not query the exchange store"), std::string::npos);

  // A later page asks afresh: nothing fetched for this one is served to it.
  EXPECT_EQ(cell(5, 20, 0), "");
  ASSERT_EQ(Put({"erin|"}, "e-late", 20), 201);
  EXPECT_EQ(Run(kTeam, kMonth).cells[(5 * 32 + 20) * 2], "True");
}

TEST_F(CalDavTeamQueryTest, MirrorShowsServerChangesWithinOneRefreshAndOrbitelsAtOnce) {
  for (const bool sync_collection : {true, false}) {
    const site::UserList person = MakePerson(sync_collection ? "gina" : "hank");
    SCOPED_TRACE(person.front());
    ASSERT_EQ(Put(person, "one", 10), 201);
    ASSERT_EQ(Put(person, "two", 12), 201);
    Use(Store::kMirror);
    data::MirrorRefreshOptions options;
    options.sync_collection = sync_collection;
    ASSERT_EQ(Refresh(person, options).refreshed, 1u);
    const Outcome before = Run(person, kMonth);
    EXPECT_EQ(BusyDays(person), (std::vector<int>{10, 12}));

    // Changed on the server, not through Orbitel: the page shows the mirror as it was until a refresh.
    ASSERT_LT(Put(person, "one", 20), 300);
    ASSERT_EQ(Put(person, "three", 14), 201);
    ASSERT_LT(server_->Send("DELETE", PathOf(person) + "two.ics"), 300);
    EXPECT_EQ(Run(person, kMonth), before);
    ASSERT_EQ(Refresh(person, options).refreshed, 1u);
    EXPECT_EQ(BusyDays(person), (std::vector<int>{14, 20}));

    // Through Orbitel the server is written first, with the version read, and the mirror at once.
    const std::string folder_url = FolderOf(site::SplitUserEntry(person.front(), false));
    auto folder = (*services_.providers.Find("MSDAIPP.DSO"))->OpenFolder(folder_url);
    ASSERT_TRUE(folder.ok()) << folder.status().description();
    auto three = (*folder)->ReadItem(folder_url + "three.ics");
    ASSERT_TRUE(three.ok()) << three.status().description();
    ASSERT_TRUE((*folder)->ReplaceItem(three->href, HourOn("three", 25), three->etag).ok());
    EXPECT_EQ((*folder)->ReplaceItem(three->href, HourOn("three", 26), three->etag).number(), errors::kItemChanged);
    ASSERT_TRUE((*folder)->CreateItem(HourOn("four", 27)).ok());
    ASSERT_TRUE((*folder)->DeleteItem(folder_url + "one.ics").ok());
    const Outcome written = Run(person, kMonth);
    EXPECT_EQ(BusyDays(person), (std::vector<int>{25, 27}));
    ASSERT_EQ(Refresh(person, options).refreshed, 1u);
    EXPECT_EQ(Run(person, kMonth), written);

    // Not brought in step for two refresh intervals (a minute each), the page says since when.
    FixClock(*kNow.AddSeconds(120));
    EXPECT_EQ(Run(person, kMonth).error_text, "");
    FixClock(*kNow.AddSeconds(121));
    EXPECT_EQ(Run(person, kMonth).error_text, CalendarsAsOf(kNow));
    FixClock(kNow);
  }
}

TEST_F(CalDavTeamQueryTest, ARefreshUnderWayNeverUndoesAWriteThroughOrbitel) {
  const site::UserList jack = MakePerson("jack");
  ASSERT_EQ(Put(jack, "one", 10), 201);
  Use(Store::kMirror);
  ASSERT_EQ(Refresh(jack).refreshed, 1u);
  const std::string folder_url = FolderOf("jack");
  auto folder = (*services_.providers.Find("MSDAIPP.DSO"))->OpenFolder(folder_url);
  ASSERT_TRUE(folder.ok()) << folder.status().description();
  // Each write made after a refresh has asked the server and before it writes its answers, which
  // hold the item as it was before the write: changed on the server just before, or (a refresh
  // reading the calendar whole, as a wider window makes it) not there yet.
  data::MirrorRefreshOptions whole;
  whole.days_back = 365 + 60;
  struct Write { int changed_before; data::MirrorRefreshOptions options; std::function<void()> write; std::vector<int> busy; };
  const Write writes[] = {
      {11, {}, [&] {
         auto one = (*folder)->ReadItem(folder_url + "one.ics");
         ASSERT_TRUE(one.ok() && (*folder)->ReplaceItem(one->href, HourOn("one", 20), one->etag).ok());
       }, {20}},
      {0, whole, [&] { ASSERT_TRUE((*folder)->CreateItem(HourOn("two", 12)).ok()); }, {12, 20}},
      {21, {}, [&] { ASSERT_TRUE((*folder)->DeleteItem(folder_url + "one.ics").ok()); }, {12}},
  };
  for (const Write& step : writes) {
    if (step.changed_before) {
      ASSERT_LT(Put(jack, "one", step.changed_before), 300);
    }
    data::MirrorRefresh under_way(services_.stores, {folder_url}, step.options, kToday);
    step.write();
    EXPECT_EQ(under_way.Apply().refreshed, 1u);
    EXPECT_EQ(BusyDays(jack), step.busy);
  }
  ASSERT_EQ(Refresh(jack).refreshed, 1u);
  EXPECT_EQ(BusyDays(jack), (std::vector<int>{12}));

  // A calendar's first refresh under way: it is not taken for in step without the write.
  const site::UserList kate = MakePerson("kate");
  data::MirrorRefresh first(services_.stores, {FolderOf("kate")}, {}, kToday);
  auto kates = (*services_.providers.Find("MSDAIPP.DSO"))->OpenFolder(FolderOf("kate"));
  ASSERT_TRUE(kates.ok() && (*kates)->CreateItem(HourOn("three", 14)).ok());
  first.Apply();
  EXPECT_EQ(BusyDays(kate), (std::vector<int>{14}));
  ASSERT_EQ(Refresh(kate).refreshed, 1u);
  server_->Pause();  // now only the mirror can answer
  EXPECT_EQ(BusyDays(kate), (std::vector<int>{14}));
  ASSERT_EQ(server_->Resume(), "");
}

TEST_F(CalDavTeamQueryTest, MirrorKeepsItsLastGoodCopyThroughTheServersTroubles) {
  const site::UserList person = MakePerson("ivy");
  ASSERT_EQ(Put(person, "one", 10), 201);
  Use(Store::kMirror);
  ASSERT_EQ(Refresh(person).refreshed, 1u);
  const Outcome good = Run(person, kMonth);
  ASSERT_EQ(BusyDays(person), (std::vector<int>{10}));
  // Just brought in step by another server sharing the mirror: left alone, the server not asked.
  server_->Pause();
  data::MirrorRefreshOptions shared;
  shared.refreshed_since = kToday;
  EXPECT_EQ(Refresh(person, shared).refreshed, 1u);
  ASSERT_EQ(server_->Resume(), "");
  const std::filesystem::path collection = server_->storage() / "collection-root" / PathOf(person);
  // Each trouble made (true) and mended (false).
  std::future<void> killing;
  const std::pair<const char*, std::function<void(bool)>> troubles[] = {
      {"the server slow, then killed while the refresh waits: its connection drops",
       [&](bool make) {
         if (make) {
           server_->Signal(SIGSTOP);
           killing = std::async(std::launch::async, [] {
             std::this_thread::sleep_for(std::chrono::milliseconds(500));
             server_->Signal(SIGKILL);
           });
           return;
         }
         killing.get();
         server_->Pause();
         ASSERT_EQ(server_->Resume(), "");
       }},
      {"an item that is not iCalendar",
       [&](bool make) {
         if (!make) return (void)std::filesystem::remove(collection / "broken.ics");
         site::testing::WriteFile(collection / "broken.ics", "BEGIN:VCALENDAR\r\nnonsense\r\n");
       }},
      {"credentials refused", [](bool make) { server_->SetPassword(make ? "changed" : kPassword); }},
  };
  for (const auto& [name, trouble] : troubles) {
    SCOPED_TRACE(name);
    trouble(true);
    ASSERT_EQ(Refresh(person).failed.size(), 1u);
    const Outcome shown = Run(person, kMonth);
    EXPECT_NE(shown.error_text, "");
    // The page shows what it would read straight from the server, as without the mirror.
    const data::StoreSettings mirrored = services_.stores;
    data::StoreSettings straight = mirrored;
    straight.caldav_mirror = false;
    UseStores(straight);
    EXPECT_EQ(shown, Run(person, kMonth));
    UseStores(mirrored);
    trouble(false);
    ASSERT_EQ(Refresh(person).refreshed, 1u);
    EXPECT_EQ(Run(person, kMonth), good);
  }

  // A sync token the server forgot: the calendar is read whole, and what it lost leaves the mirror.
  std::filesystem::remove_all(collection / ".Radicale.cache" / "sync-token");
  ASSERT_EQ(Put(person, "two", 12), 201);
  ASSERT_LT(server_->Send("DELETE", PathOf(person) + "one.ics"), 300);
  ASSERT_EQ(Refresh(person).refreshed, 1u);
  EXPECT_EQ(BusyDays(person), (std::vector<int>{12}));
}

TEST_F(CalDavTeamQueryTest, ACalendarOfFiveThousandItemsIsMirroredAndReadAlike) {
  const site::UserList person = MakePerson("mona");
  // Written straight into the server's storage: an hour every eight hours from January 2002.
  const std::filesystem::path collection = server_->storage() / "collection-root" / PathOf(person);
  const std::time_t first = 1009875600;  // 2002-01-01 09:00 UTC
  std::size_t in_window = 0;
  for (int n = 0; n < 5000; ++n) {
    const std::time_t start = first + n * 8 * 3600;
    char times[64];
    std::tm at{};
    std::strftime(times, sizeof times, "DTSTART:%Y%m%dT%H%M%SZ\r\nDTEND:%Y%m%dT%H", gmtime_r(&start, &at));
    const std::string uid = "i" + std::to_string(n);
    site::testing::WriteFile(collection / (uid + ".ics"), Calendar(Event(uid, times + std::string("5959Z\r\n"))));
    in_window += start <= kToday + 730 * 86400 && start + 3599 >= kToday - 365 * 86400;
  }
  // The refresh reads them first: a server's first read of so many, on disk, can take longer
  // than a page waits for an answer, while a refresh waits minutes.
  Use(Store::kMirror);
  ASSERT_EQ(Refresh(person).refreshed, 1u);
  EXPECT_EQ(BusyDays(person).size(), 30u);  // every day of November
  const Outcome mirrored = Run(person, kMonth);
  auto mirror = data::CalendarMirror::Open(services_.stores.store_root);
  ASSERT_TRUE(mirror.ok() && *mirror);
  EXPECT_EQ((*mirror)->Etags(FolderOf("mona"))->size(), in_window);
  Use(Store::kCalDav);
  EXPECT_EQ(Run(person, kMonth), mirrored);
}

}  // namespace
}  // namespace orbitel::calendar
