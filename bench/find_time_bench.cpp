// Finding a time, set against the team pages a visitor would otherwise compare by eye: for 10
// people over a working week against the team week page of those 10, and suggestions for a
// whole team of 500 against the team month page of the 500. 40 appointments a person in the
// local store, New York's standard time. Target: the 10-person search well under the week
// page; the 500-person suggestions no slower than the month page.
#include <benchmark/benchmark.h>

#include <memory>
#include <string>

#include "BenchTeamSite.h"
#include "schedule/FindTime.h"
#include "site/MemoryPageContext.h"
#include "site/SiteState.h"
#include "site/UserList.h"
#include "views/team/AllMonth.h"
#include "views/team/AllWeek.h"

namespace {

using namespace orbitel;

constexpr int kPeople = bench::BenchTeamSite::kPeople;
constexpr int kFewPeople = 10;
using bench::Account;

// The benchmark's site; the users file says who the team pages show.
class TeamSite {
 public:
  TeamSite() { Include(kPeople); }

  // The first `count` people on the team pages.
  void Include(int count) {
    site::UserList users;
    for (int p = 0; p < count; ++p) users.push_back(Account(p));
    // The first page marks the site's first run done; the list below is then the one kept.
    Week();
    if (!site::SaveUsers(users).ok()) std::abort();
  }

  std::size_t Week() { return Page<views::AllWeek>("10"); }
  std::size_t Month() { return Page<views::AllMonth>("5"); }

  // The page's answer, from the picked people or (suggest) the whole team.
  std::size_t FindTime(bool suggest) {
    auto context = std::make_shared<site::MemoryPageContext>();
    context->Query("Find", "1").Query("From", "2003-11-10").Query("To", "2003-11-14").Query("Length", "60");
    context->Query("DayStart", "7").Query("DayEnd", "19").Query("Tentative", "on");
    if (suggest) {
      context->Query("Mode", "suggest");
    } else {
      std::string people;
      for (int p = 0; p < kFewPeople; ++p) people += (p ? ", " : "") + Account(p);
      context->Query("People", people);
    }
    schedule::FindTime page;
    page.OnStartPage(context);
    page.GenerateFindTime();
    if (!page.PrintGenerateErrors().empty()) std::abort();
    return page.PrintFreeTimes().size();
  }

 private:
  template <class View>
  std::size_t Page(const char* day) {
    auto context = std::make_shared<site::MemoryPageContext>();
    context->Query("DAY", day).Query("MONTH", "11").Query("YEAR", "2003").Query("USER", "user0");
    View page;
    page.OnStartPage(context);
    page.GenerateCalendar();
    return site::Site().CalendarHtml.size();
  }

  bench::BenchTeamSite site_{"find-time-bench"};
};

TeamSite& Site() {
  static TeamSite site;
  return site;
}

void Run(benchmark::State& state, int people, std::size_t (*generate)(TeamSite&)) {
  TeamSite& site = Site();
  site.Include(people);
  std::size_t size = 0;
  for (auto _ : state) {
    size = generate(site);
    benchmark::DoNotOptimize(size);
  }
  state.counters["html_bytes"] = static_cast<double>(size);
}

void BM_FindTimeFor10People(benchmark::State& state) {
  Run(state, kFewPeople, [](TeamSite& site) { return site.FindTime(false); });
}
void BM_TeamWeekOf10People(benchmark::State& state) {
  Run(state, kFewPeople, [](TeamSite& site) { return site.Week(); });
}
void BM_SuggestFor500People(benchmark::State& state) {
  Run(state, kPeople, [](TeamSite& site) { return site.FindTime(true); });
}
void BM_TeamMonthOf500People(benchmark::State& state) {
  Run(state, kPeople, [](TeamSite& site) { return site.Month(); });
}

BENCHMARK(BM_FindTimeFor10People)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);
BENCHMARK(BM_TeamWeekOf10People)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);
BENCHMARK(BM_SuggestFor500People)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);
BENCHMARK(BM_TeamMonthOf500People)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);

}  // namespace

BENCHMARK_MAIN();
