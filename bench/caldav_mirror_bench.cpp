// The CalDAV calendars' mirror at 500 people of 40 appointments each, on a real Radicale server
// the benchmark starts on this computer, November 2003 in New York's standard time: the first
// refresh of every calendar (the server reading them afresh, as after its own start), a refresh
// after 10 changes, and the team month read from the mirror against the same page on the local
// store; beside them, the period reports a plain client sends for the month, one after another
// and eight at a time. The calendars are written where the server keeps them: 20,000 PUTs would
// take longer than everything measured.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "../tests/RadicaleServer.h"
#include "BenchAppointments.h"
#include "caldav/CalDavClient.h"
#include "caldav/CalDavXml.h"
#include "caldav/MirrorRefresh.h"
#include "calendar/CalendarQuery.h"
#include "calendar/UserCalendar.h"
#include "ical/ICalendar.h"
#include "localstore/LocalStoreDatabase.h"
#include "runtime/Date.h"
#include "site/Clock.h"
#include "site/MemoryPageContext.h"
#include "site/SiteServices.h"
#include "site/SiteState.h"
#include "site/TimeZone.h"
#include "store/StoreProvider.h"
#include "store/StoreTime.h"
#include "store/StoreUrl.h"

namespace {

using namespace orbitel;

constexpr int kPeople = 500;
constexpr int kAppointments = 40;
constexpr char kUser[] = "orbitel";
constexpr char kPassword[] = "bench";
constexpr char kDomain[] = "bench.example";

using bench::Account;
using bench::Appointment;

void Fail(const std::string& why) {
  std::fprintf(stderr, "%s\n", why.c_str());
  std::exit(1);
}

class MirrorTeam {
 public:
  MirrorTeam() {
    setenv("TZ", "America/New_York", 1);
    tzset();
    if (std::string error = server_.Start(kUser, kPassword, true); !error.empty()) Fail(error);
    std::vector<std::string> accounts;
    for (int p = 0; p < kPeople; ++p) accounts.push_back(Account(p));
    if (std::string error = server_.MakeSiteCalendars(accounts); !error.empty()) Fail(error);
    folder_ = orbitel::testing::MakeTempFolder("orbitel-mirror-bench");
    auto local = data::LocalStoreDatabase::OpenOrCreate((folder_ / "local").string(), kDomain);
    if (!local.ok()) Fail(local.status().description());
    for (int p = 0; p < kPeople; ++p) {
      const auto collection =
          server_.storage() / "collection-root" / "exchange" / Account(p) / "calendar";
      auto mailbox = (*local)->CreateMailbox(Account(p));
      if (!mailbox.ok()) Fail(mailbox.status().description());
      for (int n = 0; n < kAppointments; ++n) {
        const std::string uid = Account(p) + "-" + std::to_string(n);
        std::ofstream(collection / (uid + ".ics")) << Appointment(uid, n);
        auto items = data::ParseCalendar(Appointment(uid, n));
        if (!items.ok() || !(*local)->Put(*mailbox, data::ItemNameOf(uid), items->front().ics).ok()) {
          Fail("the local store did not take " + uid);
        }
      }
      folders_.push_back(server_.base_url() + "exchange/" + Account(p) + "/calendar/");
      users_.push_back(Account(p) + "|Person " + std::to_string(p));
    }
    mirror_stores_.store_root = (folder_ / "mirror").string();
    mirror_stores_.credentials = data::StoreCredentials{kUser, kPassword};
    mirror_stores_.caldav_mirror = true;

    site::SiteState& site = site::Site();
    site.SitePath = folder_.string() + "/";
    site.SettingsLoaded = true;
    site::KeepTimeZoneForThread({300, -60}, 1);
    mirrored_ = site::MakeSiteServices(nullptr, mirror_stores_);
    local_ = site::MakeSiteServices(nullptr, data::StoreSettings((folder_ / "local").string()));
    for (site::SiteServices* services : {&mirrored_, &local_}) {
      services->clock = [] { return *Date::FromParts(2003, 11, 5)->AddSeconds(10 * 3600 + 40 * 60); };
    }
    auto context = std::make_shared<site::MemoryPageContext>();
    context->Query("DAY", "1").Query("MONTH", "11").Query("YEAR", "2003").Query("USER", "user0");
    site.PageContext = context;
  }
  ~MirrorTeam() { std::filesystem::remove_all(folder_); }

  data::MirrorRefreshOutcome Refresh() {
    return data::RefreshMirror(mirror_stores_, folders_, {}, Today());
  }

  // Ten appointments of ten people moved, on the server.
  void ChangeTen(int round) {
    std::vector<data::HttpRequest> puts;
    for (int p = 0; p < 10; ++p) {
      const std::string uid = Account(p * 50) + "-0";
      puts.push_back({"PUT", folders_[p * 50] + uid + ".ics", Appointment(uid, round % 30 + 1),
                      "text/calendar; charset=utf-8", {}});
    }
    for (const auto& answer : data::SendAll(puts, mirror_stores_.credentials, 4, 1u << 20)) {
      if (!answer.ok() || answer->status >= 300) Fail("Radicale did not take a change");
    }
  }

  // The team month, read from the mirror or from the local store; its busy days.
  int TeamMonth(bool mirrored) {
    site::SiteState& site = site::Site();
    const site::UsingServices stores(mirrored ? mirrored_ : local_);
    site.StoreUrlBase = mirrored ? server_.base_url() + "exchange/"
                                 : "file://./backofficestorage/" + std::string(kDomain) + "/MBX/";
    site.StoreProvider = mirrored ? "MSDAIPP.DSO" : "ExOLEDB.DataSource";
    site.ErrorText.clear();
    calendar::UserCalendar grid(users_, 31, 1);
    calendar::GetUsersCalender(grid, *Date::FromParts(2003, 11, 1), "31");
    if (!site.ErrorText.empty()) Fail(site.ErrorText);
    int busy = 0;
    for (int u = 0; u < grid.UserCount(); ++u) {
      for (int d = 1; d <= 31; ++d) busy += grid.IsBusy(u, d, 0) ? 1 : 0;
    }
    return busy;
  }

  // The month's calendar-query REPORT of every person, as a plain client sends them.
  void PlainReports(std::size_t in_flight) {
    const std::string body = data::CalendarQueryRequest(
        data::UtcOfDate(*Date::FromParts(2003, 10, 25)), data::UtcOfDate(*Date::FromParts(2003, 12, 9)));
    std::vector<data::HttpRequest> reports;
    for (const std::string& folder : folders_) {
      reports.push_back({"REPORT", folder, body, "application/xml; charset=utf-8", {"Depth: 1"}});
    }
    for (const auto& answer : data::SendAll(reports, mirror_stores_.credentials, in_flight, 256u << 20)) {
      if (!answer.ok() || answer->status != 207) Fail("Radicale did not answer a report");
    }
  }

  // The pages' clock, 10:40 in New York: the refreshes happen as the pages are read.
  static data::UtcSeconds Today() {
    return data::UtcOfDate(*Date::FromParts(2003, 11, 5)) + 15 * 3600 + 40 * 60;
  }

 private:
  data::testing::RadicaleServer server_;
  std::filesystem::path folder_;
  std::vector<std::string> folders_;
  site::UserList users_;
  data::StoreSettings mirror_stores_;
  site::SiteServices mirrored_;  // the pages read the mirror
  site::SiteServices local_;     // the pages read the same people on the local store
};

MirrorTeam& Team() {
  static MirrorTeam team;
  return team;
}

void Expect(const data::MirrorRefreshOutcome& outcome) {
  if (!outcome.failed.empty()) Fail(outcome.failed.front().second);
}

// Runs first, once: the server reads every calendar afresh.
void BM_MirrorFirstRefresh(benchmark::State& state) {
  MirrorTeam& team = Team();
  for (auto _ : state) Expect(team.Refresh());
}

void BM_MirrorRefreshAfterTenChanges(benchmark::State& state) {
  MirrorTeam& team = Team();
  int round = 0;
  for (auto _ : state) {
    state.PauseTiming();
    team.ChangeTen(++round);
    state.ResumeTiming();
    Expect(team.Refresh());
  }
}

void BM_MirrorRefreshUnchanged(benchmark::State& state) {
  MirrorTeam& team = Team();
  for (auto _ : state) Expect(team.Refresh());
}

void TeamMonth(benchmark::State& state, bool mirrored) {
  MirrorTeam& team = Team();
  int busy = 0;
  for (auto _ : state) benchmark::DoNotOptimize(busy = team.TeamMonth(mirrored));
  state.counters["busy_days"] = busy;
}
void BM_TeamMonthFromMirror(benchmark::State& state) { TeamMonth(state, true); }
void BM_TeamMonthOnLocalStore(benchmark::State& state) { TeamMonth(state, false); }

void BM_PlainReportsOneByOne(benchmark::State& state) {
  for (auto _ : state) Team().PlainReports(1);
}
void BM_PlainReportsEightAtATime(benchmark::State& state) {
  for (auto _ : state) Team().PlainReports(8);
}

BENCHMARK(BM_MirrorFirstRefresh)->Unit(benchmark::kSecond)->Iterations(1);
BENCHMARK(BM_MirrorRefreshAfterTenChanges)->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(BM_MirrorRefreshUnchanged)->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(BM_TeamMonthFromMirror)->Unit(benchmark::kMillisecond)->Repetitions(3)->ReportAggregatesOnly(true);
BENCHMARK(BM_TeamMonthOnLocalStore)->Unit(benchmark::kMillisecond)->Repetitions(3)->ReportAggregatesOnly(true);
BENCHMARK(BM_PlainReportsOneByOne)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_PlainReportsEightAtATime)->Unit(benchmark::kMillisecond)->Iterations(3);

}  // namespace

BENCHMARK_MAIN();
