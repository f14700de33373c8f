#pragma once
// A site folder for the team benchmarks: the shipped settings and users file, a directory of
// 500 people and a local store holding 40 appointments each (BenchAppointments.h), set up on the
// benchmark's thread (the site state and the services are per thread) in New York's standard time
// on 5 November 2003, 10:40; removed when it goes.

#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

#include "BenchAppointments.h"
#include "directory/Directory.h"
#include "ical/ICalendar.h"
#include "localstore/LocalStoreDatabase.h"
#include "runtime/Date.h"
#include "site/Clock.h"
#include "site/SiteServices.h"
#include "site/SiteState.h"
#include "site/TimeZone.h"
#include "store/StoreProvider.h"
#include "store/StoreUrl.h"

namespace orbitel::bench {

class BenchTeamSite {
 public:
  static constexpr int kPeople = 500;
  static constexpr int kAppointments = 40;
  static constexpr char kDomain[] = "orbitel.demo";

  explicit BenchTeamSite(const std::string& name) {
    namespace fs = std::filesystem;
    setenv("TZ", "America/New_York", 1);
    tzset();
    folder_ = fs::temp_directory_path() / ("orbitel-" + name + "-" + std::to_string(getpid()));
    fs::remove_all(folder_);
    fs::create_directories(folder_ / "store");
    const fs::path www = fs::path(__FILE__).parent_path().parent_path() / "www";
    for (const char* file : {"OrbitelSettings.xml", "OrbitelUsers.xml"}) fs::copy_file(www / file, folder_ / file);
    std::ofstream(folder_ / "people.ldif") << Ldif();
    const std::string root = (folder_ / "store").string();
    auto directory = directory::OpenDirectory((folder_ / "people.ldif").string());
    if (!directory.ok()) std::abort();
    services_ = site::MakeSiteServices(*directory, data::StoreSettings(root));
    services_.clock = [] { return *Date::FromParts(2003, 11, 5)->AddSeconds(10 * 3600 + 40 * 60); };
    bound_.emplace(services_);
    Fill(root);
    site::Site().SitePath = folder_.string() + "/";
    site::KeepTimeZoneForThread({300, -60}, 1);
  }
  ~BenchTeamSite() { std::filesystem::remove_all(folder_); }
  BenchTeamSite(const BenchTeamSite&) = delete;
  BenchTeamSite& operator=(const BenchTeamSite&) = delete;

 private:
  static std::string Ldif() {
    std::string text =
        "version: 1\n\ndn: DC=ORBITEL,DC=DEMO\nobjectClass: top\nobjectClass: domain\n"
        "objectClass: domainDNS\nobjectClass: dcObject\ndc: ORBITEL\nname: ORBITEL\n\n";
    for (int p = 0; p < kPeople; ++p) {
      text += "dn: CN=" + Account(p) + ",DC=ORBITEL,DC=DEMO\nobjectClass: top\nobjectClass: person\n"
              "objectClass: user\ncn: " + Account(p) + "\ndisplayName: Person " + std::to_string(p) +
              "\nsAMAccountName: " + Account(p) + "\nuserAccountControl: 512\n\n";
    }
    return text;
  }

  static void Fill(const std::string& root) {
    auto database = data::LocalStoreDatabase::OpenOrCreate(root, kDomain);
    if (!database.ok()) std::abort();
    auto writes = (*database)->BeginWrites();
    if (!writes.ok()) std::abort();
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
    if (!(*writes)->Commit().ok()) std::abort();
  }

  std::filesystem::path folder_;
  site::SiteServices services_;
  std::optional<site::UsingServices> bound_;
};

}  // namespace orbitel::bench
