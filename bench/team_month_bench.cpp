// The team month page as a request runs it: AllMonth::GenerateCalendar for 500 included users
// of 40 appointments each in the local store, November 2003 in New York's standard time.
// Target: at most 50 ms a page.
#include <benchmark/benchmark.h>

#include <memory>
#include <string>

#include "BenchTeamSite.h"
#include "site/MemoryPageContext.h"
#include "site/SiteState.h"
#include "views/team/AllMonth.h"

namespace {

using namespace orbitel;

class TeamSite {
 public:
  TeamSite() {
    context_ = std::make_shared<site::MemoryPageContext>();
    context_->Query("DAY", "5").Query("MONTH", "11").Query("YEAR", "2003").Query("USER", "user0");
    // The first page fills the users file with the directory's people.
    if (Generate() == 0 || !site::Site().ErrorText.empty()) std::abort();
  }

  // The page's busy day cells.
  int Generate() {
    views::AllMonth page;
    page.OnStartPage(context_);
    page.GenerateCalendar();
    const std::string& html = site::Site().CalendarHtml;
    int busy = 0;
    for (auto at = html.find("_pix.gif"); at != std::string::npos;
         at = html.find("_pix.gif", at + 1)) {
      ++busy;
    }
    return busy;
  }

 private:
  bench::BenchTeamSite site_{"month-bench"};
  std::shared_ptr<site::MemoryPageContext> context_;
};

void BM_TeamMonthGenerate(benchmark::State& state) {
  static TeamSite site;
  int busy = 0;
  for (auto _ : state) {
    busy = site.Generate();
    benchmark::DoNotOptimize(busy);
  }
  state.counters["busy_days"] = busy;
}
BENCHMARK(BM_TeamMonthGenerate)
    ->Unit(benchmark::kMillisecond)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);

}  // namespace

BENCHMARK_MAIN();
