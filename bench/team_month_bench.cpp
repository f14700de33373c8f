// The team month page as a request runs it: AllMonth::GenerateCalendar for 500 included users
// of 40 appointments each in the local store, November 2003 in New York's standard time.
// Target: at most 150 ms a page.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "BenchAppointments.h"
#include "data/ICalendar.h"
#include "data/LocalStoreDatabase.h"
#include "data/StoreProvider.h"
#include "data/StoreUrl.h"
#include "directory/Directory.h"
#include "runtime/Date.h"
#include "site/Clock.h"
#include "site/MemoryPageContext.h"
#include "site/SiteServices.h"
#include "site/SiteState.h"
#include "site/TimeZone.h"
#include "views/team/AllMonth.h"

namespace {

using namespace orbitel;
namespace fs = std::filesystem;

constexpr int kPeople = 500;
constexpr int kAppointments = 40;
constexpr char kDomain[] = "orbitel.demo";

using bench::Account;
using bench::Appointment;

std::string Ldif() {
  std::string text =
      "version: 1\n\ndn: DC=ORBITEL,DC=DEMO\nobjectClass: top\nobjectClass: domain\n"
      "objectClass: domainDNS\nobjectClass: dcObject\ndc: ORBITEL\nname: ORBITEL\n\n";
  for (int p = 0; p < kPeople; ++p) {
    text += "dn: CN=" + Account(p) + ",DC=ORBITEL,DC=DEMO\nobjectClass: top\nobjectClass: person\n"
            "objectClass: user\ncn: " + Account(p) + "\ndisplayName: Person " +
            std::to_string(p) + "\nsAMAccountName: " + Account(p) +
            "\nuserAccountControl: 512\n\n";
  }
  return text;
}

// A site folder with the shipped settings, a 500-person directory and a filled store, set up
// on the benchmark's thread (the site state and the clock are per thread).
class TeamSite {
 public:
  TeamSite() {
    setenv("TZ", "America/New_York", 1);
    tzset();
    folder_ = fs::temp_directory_path() / ("orbitel-month-bench-" + std::to_string(getpid()));
    fs::remove_all(folder_);
    fs::create_directories(folder_ / "store");
    const fs::path www = fs::path(__FILE__).parent_path().parent_path() / "www";
    for (const char* name : {"OrbitelSettings.xml", "OrbitelUsers.xml"}) {
      fs::copy_file(www / name, folder_ / name);
    }
    std::ofstream(folder_ / "people.ldif") << Ldif();

    const std::string root = (folder_ / "store").string();
    data::ConfigureStores(data::StoreSettings{root});
    auto directory = directory::OpenDirectory((folder_ / "people.ldif").string());
    if (!directory.ok()) std::abort();
    site::SetServices({*directory, folder_ / "store"});
    Fill(root);

    site::Site().SitePath = folder_.string() + "/";
    site::KeepTimeZoneForThread({300, -60}, 1);
    site::FixClockForThread(*Date::FromParts(2003, 11, 5)->AddSeconds(10 * 3600 + 40 * 60));
    context_ = std::make_shared<site::MemoryPageContext>();
    context_->Query("DAY", "5").Query("MONTH", "11").Query("YEAR", "2003").Query("USER", "user0");
    // The first page fills the users file with the directory's people.
    if (Generate() == 0 || !site::Site().ErrorText.empty()) std::abort();
  }
  ~TeamSite() { fs::remove_all(folder_); }

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
  static void Fill(const std::string& root) {
    auto database = data::LocalStoreDatabase::OpenOrCreate(root, kDomain);
    if (!database.ok()) std::abort();
    data::sqlite::Transaction transaction((*database)->handle());
    for (int p = 0; p < kPeople; ++p) {
      auto folder = (*database)->CreateMailbox(Account(p));
      if (!folder.ok()) std::abort();
      for (int n = 0; n < kAppointments; ++n) {
        auto items = data::ParseCalendar(Appointment(Account(p) + "-" + std::to_string(n), n));
        if (!items.ok()) std::abort();
        for (const data::CalendarItem& item : *items) {
          if (!(*database)->Put(*folder, data::ItemNameOf(item.uid), item.ics).ok()) std::abort();
        }
      }
    }
    if (!transaction.Commit()) std::abort();
  }

  fs::path folder_;
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
