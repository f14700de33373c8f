#include "host/HealthCheck.h"

#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <string_view>
#include <thread>
#include <vector>

#include "caldav/CalendarMirror.h"
#include "caldav/MirrorRefresher.h"
#include "recordset/RowsetFile.h"
#include "site/MirrorPlan.h"
#include "site/SiteFiles.h"
#include "site/SiteServices.h"
#include "site/SiteSettings.h"
#include "site/SiteState.h"
#include "store/StoreProvider.h"

namespace orbitel::host {

namespace {

// How long a part may take before it counts as not answering.
constexpr auto kPartTime = std::chrono::milliseconds(700);

struct PartResult {
  bool ok = false;
  std::string detail;  // a JSON member or two to add, e.g. "\"people\":12"
};

// Runs the check on a thread of its own; a check that has not ended in time is left to end by
// itself and counts as not answering.
std::shared_future<PartResult> Started(std::function<PartResult()> check) {
  auto promise = std::make_shared<std::promise<PartResult>>();
  std::shared_future<PartResult> answer = promise->get_future().share();
  std::thread([promise, check = std::move(check)] {
    try {
      promise->set_value(check());
    } catch (...) {
      promise->set_value(PartResult{false, "\"reason\":\"failed\""});
    }
  }).detach();
  return answer;
}

PartResult FileReadable(const std::filesystem::path& path) {
  data::Recordset rows;
  if (data::OpenRowsetFile(path, rows).ok()) return {true, ""};
  return {false, "\"reason\":\"cannot be read\""};
}

PartResult DirectoryAnswers() {
  const auto& directory = site::Services().directory;
  if (!directory) return {false, "\"reason\":\"none configured\""};
  auto accounts = directory->Accounts();
  if (!accounts.ok()) return {false, "\"reason\":\"does not answer\""};
  return {true, "\"people\":" + std::to_string(accounts->size())};
}

std::string JsonString(const std::string& text) {
  std::string quoted = "\"";
  for (char c : text) {
    if (c == '"' || c == '\\') quoted += '\\';
    if (static_cast<unsigned char>(c) >= 0x20) quoted += c;
  }
  return quoted + "\"";
}

// The accounts of the included people whose calendars the mirror has not brought in step (not
// yet, or its last refresh failed): their pages ask the server directly. Empty for a site whose
// calendars are not mirrored.
std::string CalendarsNotInStep(const std::string& site_path) {
  const data::StoreSettings& stores = site::Services().stores;
  if (!stores.caldav_mirror) return "";
  const data::MirrorRefresher::Plan plan = site::SiteMirrorPlan(site_path);
  if (plan.folder_urls.empty()) return "";
  auto mirror = data::CalendarMirror::Open(stores.store_root);
  const std::string& base = site::Site().StoreUrlBase;
  constexpr std::string_view kCalendar = "/calendar/";
  std::string names;
  for (const std::string& url : plan.folder_urls) {
    if (mirror.ok() && *mirror) {
      auto found = (*mirror)->Find(url);
      if (found.ok() && *found && (*found)->state.usable()) continue;
    }
    const std::string account = url.substr(base.size(), url.size() - base.size() - kCalendar.size());
    names += (names.empty() ? "" : ",") + JsonString(account);
  }
  return "\"calendars_not_in_step\":[" + names + "]";
}

// The store the site's settings name, asked as the installation check asks it.
PartResult StoreAnswers(const std::filesystem::path& site_folder) {
  site::SiteState& site = site::Site();
  site.SitePath = site_folder.string() + "/";
  site::GetSiteVars();
  auto provider = site::Services().providers.Find(site.StoreProvider);
  if (!provider.ok() || site.StoreUrlBase.empty()) return {false, "\"reason\":\"not configured\""};
  if (!(*provider)->ProbeService(site.StoreUrlBase).ok()) return {false, "\"reason\":\"does not answer\""};
  return {true, CalendarsNotInStep(site.SitePath)};
}

}  // namespace

Health CheckHealth(const ServedSite& site) {
  // The parts run on threads of their own, bound to the site's services as a request would be;
  // a part that hangs keeps what it uses alive by itself.
  const std::filesystem::path folder = site.folder;
  const auto within_site = [services = site.services](std::function<PartResult()> check) {
    return Started([services, check = std::move(check)] {
      const site::UsingServices using_site(*services);
      return check();
    });
  };
  const std::pair<const char*, std::shared_future<PartResult>> parts[] = {
      {"settings", within_site([folder] { return FileReadable(folder / site::files::kSettings); })},
      {"users", within_site([folder] { return FileReadable(folder / site::files::kUsers); })},
      {"directory", within_site(DirectoryAnswers)},
      {"store", within_site([folder] { return StoreAnswers(folder); })},
  };
  const auto deadline = std::chrono::steady_clock::now() + kPartTime;
  Health health{true, ""};
  std::string members;
  for (const auto& [name, answer] : parts) {
    PartResult result{false, "\"reason\":\"no answer in time\""};
    if (answer.wait_until(deadline) == std::future_status::ready) result = answer.get();
    health.ok = health.ok && result.ok;
    if (!members.empty()) members += ",";
    members += "\"" + std::string(name) + "\":{\"ok\":" + (result.ok ? "true" : "false") +
               (result.detail.empty() ? "" : "," + result.detail) + "}";
  }
  health.json = std::string("{\"status\":\"") + (health.ok ? "ok" : "failing") + "\",\"parts\":{" + members + "}}\n";
  return health;
}

Health CheckHealth(const std::vector<ServedSite>& sites) {
  // The sites are asked at once, so the answer comes within one site's time box.
  std::vector<std::future<Health>> answers;
  for (const ServedSite& site : sites) {
    answers.push_back(std::async(std::launch::async, [&site] { return CheckHealth(site); }));
  }
  Health health{true, ""};
  std::string members;
  for (std::size_t i = 0; i < sites.size(); ++i) {
    const ServedSite& site = sites[i];
    Health one = answers[i].get();
    health.ok = health.ok && one.ok;
    if (one.json.ends_with('\n')) one.json.pop_back();
    if (!members.empty()) members += ",";
    members += "\"" + site.name + "\":" + one.json;
  }
  health.json = std::string("{\"status\":\"") + (health.ok ? "ok" : "failing") + "\",\"sites\":{" + members + "}}\n";
  return health;
}

}  // namespace orbitel::host
