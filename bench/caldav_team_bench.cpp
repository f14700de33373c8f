// The team month's store round over CalDAV, as a request runs it: GetUsersCalender for 40
// included users of 30 appointments each on a real Radicale server the benchmark starts on this
// computer, November 2003 in New York's standard time. Once with the folder opens and period
// queries fetched ahead at once, once asked one by one, and beside them the same month's reports
// sent by a plain client one after another. On the loopback a round trip costs next
// to nothing and the server's own time is all there is to measure (and one Radicale process
// answers a few requests at once more slowly than one after another); over a real network
// every round trip fetching ahead saves is worth a network latency.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "../tests/RadicaleServer.h"
#include "BenchAppointments.h"
#include "caldav/CalDavClient.h"
#include "caldav/CalDavStore.h"
#include "caldav/CalDavXml.h"
#include "calendar/CalendarQuery.h"
#include "calendar/UserCalendar.h"
#include "runtime/Date.h"
#include "site/Clock.h"
#include "site/MemoryPageContext.h"
#include "site/SiteServices.h"
#include "site/SiteState.h"
#include "site/TimeZone.h"
#include "store/StoreProvider.h"

namespace {

using namespace orbitel;

constexpr int kPeople = 40;
constexpr int kAppointments = 30;
constexpr char kUser[] = "orbitel";
constexpr char kPassword[] = "bench";
constexpr std::size_t kFillBytes = 64u << 20;

using bench::Account;
using bench::Appointment;

void Fail(const std::string& why) {
  std::fprintf(stderr, "%s\n", why.c_str());
  std::exit(1);
}

// The server with every person's calendar filled, and this thread's site state pointing at it.
class TeamServer {
 public:
  TeamServer() {
    setenv("TZ", "America/New_York", 1);
    tzset();
    if (std::string error = server_.Start(kUser, kPassword, true); !error.empty()) Fail(error);
    const data::StoreCredentials account{kUser, kPassword};
    const std::string base = server_.base_url() + "exchange/";
    base_url_ = base;
    Expect(data::SendAll({{"MKCOL", base, "", "", {}}}, account, 1, kFillBytes), 201);
    std::vector<data::HttpRequest> people;
    std::vector<data::HttpRequest> calendars;
    std::vector<data::HttpRequest> items;
    for (int p = 0; p < kPeople; ++p) {
      people.push_back({"MKCOL", base + Account(p) + "/", "", "", {}});
      calendars.push_back({"MKCALENDAR", base + Account(p) + "/calendar/", "", "", {}});
      for (int n = 0; n < kAppointments; ++n) {
        const std::string uid = Account(p) + "-" + std::to_string(n);
        items.push_back({"PUT", base + Account(p) + "/calendar/" + uid + ".ics",
                         Appointment(uid, n), "text/calendar; charset=utf-8", {}});
      }
    }
    Expect(data::SendAll(people, account, 4, kFillBytes), 201);
    Expect(data::SendAll(calendars, account, 4, kFillBytes), 201);
    Expect(data::SendAll(items, account, 4, kFillBytes), 201);

    data::StoreSettings stores;
    stores.credentials = account;
    services_ = site::MakeSiteServices(nullptr, stores);
    services_.clock = [] { return *Date::FromParts(2003, 11, 5)->AddSeconds(10 * 3600 + 40 * 60); };
    bound_.emplace(services_);
    folder_ = orbitel::testing::MakeTempFolder("orbitel-caldav-bench");
    site::SiteState& site = site::Site();
    site.SitePath = folder_.string() + "/";
    site.SettingsLoaded = true;
    site.StoreUrlBase = base;
    site.StoreProvider = "MSDAIPP.DSO";
    site::KeepTimeZoneForThread({300, -60}, 1);
    auto context = std::make_shared<site::MemoryPageContext>();
    context->Query("DAY", "1").Query("MONTH", "11").Query("YEAR", "2003").Query("USER", "user0");
    site.PageContext = context;
    for (int p = 0; p < kPeople; ++p) users_.push_back(Account(p) + "|Person " + std::to_string(p));
  }
  ~TeamServer() { std::filesystem::remove_all(folder_); }

  // The CPU time Radicale has used so far (all its threads, user and system), in milliseconds.
  double ServerCpuMs() const {
    std::ifstream stat("/proc/" + std::to_string(server_.pid()) + "/stat");
    std::string text((std::istreambuf_iterator<char>(stat)), {});
    // Fields after the command name, which is in parentheses and may hold blanks: utime and
    // stime are the 12th and 13th of them.
    std::istringstream fields(text.substr(text.rfind(')') + 2));
    std::string field;
    double ticks = 0;
    for (int i = 1; i <= 13 && fields >> field; ++i) {
      if (i >= 12) ticks += std::stod(field);
    }
    return ticks * 1000.0 / static_cast<double>(sysconf(_SC_CLK_TCK));
  }

  // One round; the busy day cells of the month.
  // Whether the page's reports are fetched ahead of its queries, or each asked in its turn.
  void FetchAhead(bool fetch_ahead) {
    data::StoreSettings stores = services_.stores;
    stores.caldav_prefetch = fetch_ahead;
    const site::SiteServices made = site::MakeSiteServices(nullptr, stores);
    services_.stores = made.stores;
    services_.providers = made.providers;
  }

  int Query() {
    site::Site().ErrorText.clear();
    calendar::UserCalendar grid(users_, 31, 1);
    calendar::GetUsersCalender(grid, *Date::FromParts(2003, 11, 1), "31");
    if (!site::Site().ErrorText.empty()) Fail(site::Site().ErrorText);
    int busy = 0;
    for (int u = 0; u < grid.UserCount(); ++u) {
      for (int d = 1; d <= 31; ++d) busy += grid.IsBusy(u, d, 0) ? 1 : 0;
    }
    return busy;
  }

  // The same month's calendar-query reports a plain client would send, one person after
  // another on one connection, with nothing before them: what Orbitel's page is measured against.
  // The period is the page's own (a week either side of the month, and a day's slack more), so
  // both are answered the same items.
  void PlainReports() {
    const data::UtcSeconds start = data::UtcOfDate(*Date::FromParts(2003, 10, 24));
    const data::UtcSeconds end = data::UtcOfDate(*Date::FromParts(2003, 12, 10));
    // A calendar client's usual report: each event's etag (to keep a copy by) and its text.
    std::string body = data::CalendarQueryRequest(start, end);
    const std::string text_alone = "<D:prop><C:calendar-data/></D:prop>";
    body.replace(body.find(text_alone), text_alone.size(),
                 "<D:prop><D:getetag/><C:calendar-data/></D:prop>");
    for (const std::string& user : users_) {
      const std::string url = base_url_ + user.substr(0, user.find('|')) + "/calendar/";
      Result<data::HttpResponse> answer = client_.Send({"REPORT", url, body, "application/xml; charset=utf-8", {"Depth: 1"}});
      if (!answer.ok() || answer->status != 207) Fail("the plain report of " + url + " failed");
    }
  }

 private:
  static void Expect(const std::vector<Result<data::HttpResponse>>& answers, long status) {
    for (const auto& answer : answers) {
      if (!answer.ok()) Fail(answer.status().description());
      if (answer->status != status) Fail("Radicale answered HTTP " + std::to_string(answer->status));
    }
  }

  data::testing::RadicaleServer server_;
  std::string base_url_;
  data::CalDavClient client_{data::StoreCredentials{kUser, kPassword}};
  std::filesystem::path folder_;
  site::UserList users_;
  site::SiteServices services_;
  std::optional<site::UsingServices> bound_;
};

TeamServer& Server() {
  static TeamServer server;
  return server;
}

// Radicale's CPU time a round, beside the round's own time and this program's CPU time.
void CountServerCpu(benchmark::State& state, double before) {
  state.counters["server_cpu_ms"] =
      benchmark::Counter((Server().ServerCpuMs() - before) / static_cast<double>(state.iterations()));
}

void Round(benchmark::State& state, bool fetch_ahead) {
  TeamServer& server = Server();
  server.FetchAhead(fetch_ahead);
  server.Query();  // the folders' first opens (a PROPFIND each) are not the rounds measured
  int busy = 0;
  const double before = server.ServerCpuMs();
  for (auto _ : state) {
    busy = server.Query();
    benchmark::DoNotOptimize(busy);
  }
  CountServerCpu(state, before);
  server.FetchAhead(true);
  state.counters["busy_days"] = busy;
}

void BM_CalDavTeamMonthFetchedAhead(benchmark::State& state) { Round(state, true); }
void BM_PlainReportsOneByOne(benchmark::State& state) {
  TeamServer& server = Server();
  const double before = server.ServerCpuMs();
  for (auto _ : state) server.PlainReports();
  CountServerCpu(state, before);
}
void BM_CalDavTeamMonthOneByOne(benchmark::State& state) { Round(state, false); }

BENCHMARK(BM_CalDavTeamMonthFetchedAhead)
    ->Unit(benchmark::kMillisecond)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);
BENCHMARK(BM_PlainReportsOneByOne)
    ->Unit(benchmark::kMillisecond)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);
BENCHMARK(BM_CalDavTeamMonthOneByOne)
    ->Unit(benchmark::kMillisecond)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);

}  // namespace

BENCHMARK_MAIN();
