#include "site/MirrorPlan.h"

#include "recordset/RowsetFile.h"
#include "runtime/Conversions.h"
#include "site/SiteFiles.h"
#include "site/SiteSettings.h"
#include "site/SiteState.h"
#include "site/UserList.h"

namespace orbitel::site {

data::MirrorRefresher::Plan SiteMirrorPlan(const std::string& site_path) {
  SiteState& site = Site();
  site.SitePath = site_path;
  data::MirrorRefresher::Plan plan;
  if (!LoadSettingsFile().ok()) return plan;
  plan.interval = std::chrono::seconds(site.MirrorInterval);
  plan.days_back = site.MirrorDaysBack;
  plan.days_ahead = site.MirrorDaysAhead;
  if (!EqualsIgnoringCase(site.StoreProvider, "MSDAIPP.DSO")) return plan;
  data::Recordset users;
  if (!data::OpenRowsetFile(files::InSite(site_path, files::kUsers), users).ok()) return plan;
  while (!users.IsEOF()) {
    auto account = users.Field("Users");
    if (!account.ok()) break;
    const std::string name = SplitUserEntry(account->Text(), false);
    if (!name.empty()) plan.folder_urls.push_back(site.StoreUrlBase + name + "/calendar/");
    if (!users.MoveNext().ok()) break;
  }
  return plan;
}

}  // namespace orbitel::site
