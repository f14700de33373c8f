// The period query against the local store as the pages run it: through a connection and a
// recordset. One large mailbox (10,000 items over three years), and a team page's pass over
// 500 mailboxes of 40 items each.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "localstore/LocalStore.h"
#include "localstore/LocalStoreDatabase.h"
#include "store/Connection.h"
#include "store/StoreUrl.h"

namespace {

using namespace orbitel;
using namespace orbitel::data;

constexpr int kLargeItems = 10000;
constexpr int kTeamMailboxes = 500;
constexpr int kTeamItems = 40;
constexpr UtcSeconds kFirstDay = 1009843200;  // 2002-01-01T00:00:00Z

std::string PeriodQuery(const std::string& folder) {
  return "SELECT \"DAV:href\", \"urn:schemas:httpmail:subject\", "
         "\"urn:schemas:calendar:alldayevent\", \"urn:schemas:calendar:location\", "
         "\"urn:schemas:calendar:dtstart\", \"urn:schemas:calendar:dtend\", "
         "\"urn:schemas:calendar:uid\"  FROM scope('shallow traversal of \"" + folder + "\"') "
         "WHERE (\"urn:schemas:calendar:dtstart\" >=CAST(\"2003-10-25T13:00:01Z\" as 'dateTime')) "
         "AND (\"urn:schemas:calendar:dtend\" <=CAST(\"2003-12-08T13:00:01Z\" as 'dateTime')) "
         "AND (\"http://schemas.microsoft.com/exchange/sensitivity\" <> 2) "
         "AND (\"urn:schemas:calendar:busystatus\" <> 'Free')";
}

std::string Stamp(UtcSeconds seconds) {
  const Date date = DateOfUtc(seconds);
  char text[24];
  std::snprintf(text, sizeof text, "%04d%02d%02dT%02d%02d%02dZ", date.Year(), date.Month(),
                date.Day(), date.Hour(), date.Minute(), date.Second());
  return text;
}

// A varied item: every seventh private, every fifth free, some with a location.
std::string Item(const std::string& uid, int n, UtcSeconds start) {
  std::string ics = "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nBEGIN:VEVENT\r\nUID:" + uid +
                    "\r\nSUMMARY:Meeting " + std::to_string(n) + "\r\nDTSTART:" + Stamp(start) +
                    "\r\nDTEND:" + Stamp(start + 3600) + "\r\n";
  if (n % 3 == 0) ics += "LOCATION:Room " + std::to_string(n % 40) + "\r\n";
  if (n % 7 == 0) ics += "CLASS:PRIVATE\r\n";
  if (n % 5 == 0) ics += "TRANSP:TRANSPARENT\r\n";
  return ics + "END:VEVENT\r\nEND:VCALENDAR\r\n";
}

void Fill(const std::string& root, const std::string& domain, const std::string& account,
          int items, UtcSeconds first, UtcSeconds span) {
  auto database = LocalStoreDatabase::OpenOrCreate(root, domain);
  if (!database.ok()) std::abort();
  auto writes = (*database)->BeginWrites();
  if (!writes.ok()) std::abort();
  auto folder = (*database)->CreateMailbox(account);
  if (!folder.ok()) std::abort();
  for (int i = 0; i < items; ++i) {
    const UtcSeconds start = first + (span / items) * i / 3600 * 3600;
    const std::string uid = account + "-" + std::to_string(i);
    if (!(*database)->Put(*folder, ItemNameOf(uid), Item(uid, i, start)).ok()) std::abort();
  }
  if (!(*writes)->Commit().ok()) std::abort();
}

class Store {
 public:
  Store() {
    char pattern[] = "/tmp/orbitel-bench-XXXXXX";
    if (mkdtemp(pattern) == nullptr) std::abort();
    root_ = pattern;
    providers_ = StoreProviders({MakeLocalStoreProvider(root_)});
    Fill(root_, "large.example.com", "big", kLargeItems, kFirstDay, 3 * 365 * 86400LL);
    // The team's items lie in the four months around the queried period.
    const UtcSeconds team_first = kFirstDay + 600 * 86400LL;
    for (int m = 0; m < kTeamMailboxes; ++m) {
      Fill(root_, "team.example.com", "user" + std::to_string(m), kTeamItems,
           team_first + m * 3600, 120 * 86400LL);
    }
  }
  ~Store() { std::filesystem::remove_all(root_); }

  const std::string& root() const { return root_; }
  const StoreProviders& providers() const { return providers_; }

 private:
  std::string root_;
  StoreProviders providers_;
};

Store& TheStore() {
  static Store store;
  return store;
}

long RunPeriodQuery(const std::string& folder, const std::string& query) {
  Connection connection(TheStore().providers());
  connection.Provider = "ExOLEDB.DataSource";
  if (!connection.Open(folder).ok()) std::abort();
  Recordset rows;
  if (!OpenRecordset(rows, query, connection).ok()) std::abort();
  return static_cast<long>(rows.VisibleCount());
}

void BM_LargeMailboxPeriodQuery(benchmark::State& state) {
  TheStore();
  const std::string folder = FolderUrlOf("large.example.com", "big");
  const std::string query = PeriodQuery(folder);
  long rows = 0;
  for (auto _ : state) {
    rows = RunPeriodQuery(folder, query);
    benchmark::DoNotOptimize(rows);
  }
  state.counters["rows"] = static_cast<double>(rows);
}
BENCHMARK(BM_LargeMailboxPeriodQuery)->Unit(benchmark::kMicrosecond)->Repetitions(5)->ReportAggregatesOnly(true);

// The store's own share of the period query: reading the candidates out of SQLite.
void BM_LargeMailboxCandidates(benchmark::State& state) {
  TheStore();
  auto database = LocalStoreDatabase::Open(TheStore().root(), "large.example.com");
  if (!database.ok()) std::abort();
  const auto folder = (*database)->FindFolder("big");
  const std::string url = FolderUrlOf("large.example.com", "big");
  const UtcSeconds from = UtcOfDate(DateOfUtc(1067086801));  // 2003-10-25T13:00:01Z
  const UtcSeconds until = UtcOfDate(DateOfUtc(1070888401));  // 2003-12-08T13:00:01Z
  std::size_t count = 0;
  for (auto _ : state) {
    std::vector<StoreItem> items;
    if (!(*database)->Candidates(**folder, from, until, url, items).ok()) std::abort();
    count = items.size();
    benchmark::DoNotOptimize(items);
  }
  state.counters["candidates"] = static_cast<double>(count);
}
BENCHMARK(BM_LargeMailboxCandidates)->Unit(benchmark::kMicrosecond)->Repetitions(5)->ReportAggregatesOnly(true);

void BM_TeamPagePass(benchmark::State& state) {
  TheStore();
  std::vector<std::pair<std::string, std::string>> folders;
  for (int m = 0; m < kTeamMailboxes; ++m) {
    const std::string folder = FolderUrlOf("team.example.com", "user" + std::to_string(m));
    folders.emplace_back(folder, PeriodQuery(folder));
  }
  long rows = 0;
  for (auto _ : state) {
    rows = 0;
    for (const auto& [folder, query] : folders) rows += RunPeriodQuery(folder, query);
    benchmark::DoNotOptimize(rows);
  }
  state.counters["rows"] = static_cast<double>(rows);
}
BENCHMARK(BM_TeamPagePass)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);

}  // namespace

BENCHMARK_MAIN();
