#pragma once
// One site folder a server answers for. A server holds one site at "/" (served with the
// process's directory and stores), or several, each at "/<name>/" with a directory, store root
// and session key of its own, so every team of a company can have its own team pages on one
// server.

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "data/StoreProvider.h"
#include "site/SiteServices.h"

namespace orbitel::host {

class PageSources;
class SessionKeyring;

struct ServedSite {
  // The first segment of the site's addresses; empty for the one site of a server.
  std::string name;
  std::filesystem::path folder;
  // The site's own directory and stores; null: the process's (SetServices, ConfigureStores).
  std::shared_ptr<const site::SiteServices> services;
  std::shared_ptr<const data::StoreSettings> stores;
  // Read or made when the server binds its address.
  std::shared_ptr<SessionKeyring> keyring;
  // What the site's kept pages are made from; made with the keyring.
  std::shared_ptr<PageSources> sources;
};

// Binds the calling thread to a site's services and stores for as long as it lives.
class UsingSite {
 public:
  UsingSite(const std::shared_ptr<const site::SiteServices>& services,
            const std::shared_ptr<const data::StoreSettings>& stores);
  explicit UsingSite(const ServedSite& site) : UsingSite(site.services, site.stores) {}

 private:
  std::optional<site::UsingServices> services_;
  std::optional<data::UsingStores> stores_;
};

// Whether a folder name can stand as the first segment of a site's addresses as it is:
// letters, digits, '-', '_' and '.', not starting with a dot.
bool IsSiteName(std::string_view name);

// The plain page at "/" of a server that holds several sites: a link to each.
std::string SiteIndexPage(const std::vector<ServedSite>& sites);

}  // namespace orbitel::host
