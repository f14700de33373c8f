#include "host/HealthCheck.h"

#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <thread>
#include <vector>

#include "data/RowsetFile.h"
#include "data/StoreProvider.h"
#include "site/SiteFiles.h"
#include "site/SiteServices.h"
#include "site/SiteSettings.h"
#include "site/SiteState.h"

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

// The store the site's settings name, asked as the installation check asks it.
PartResult StoreAnswers(const std::filesystem::path& site_folder) {
  site::SiteState& site = site::Site();
  site.SitePath = site_folder.string() + "/";
  site::GetSiteVars();
  auto provider = data::FindProvider(site.StoreProvider);
  if (!provider.ok() || site.StoreUrlBase.empty()) return {false, "\"reason\":\"not configured\""};
  if (!(*provider)->ProbeService(site.StoreUrlBase).ok()) return {false, "\"reason\":\"does not answer\""};
  return {true, ""};
}

}  // namespace

Health CheckHealth(const std::filesystem::path& site_folder) {
  const std::pair<const char*, std::shared_future<PartResult>> parts[] = {
      {"settings", Started([site_folder] { return FileReadable(site_folder / site::files::kSettings); })},
      {"users", Started([site_folder] { return FileReadable(site_folder / site::files::kUsers); })},
      {"directory", Started(DirectoryAnswers)},
      {"store", Started([site_folder] { return StoreAnswers(site_folder); })},
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

}  // namespace orbitel::host
