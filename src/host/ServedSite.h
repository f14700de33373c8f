#pragma once
// One site folder a server answers for. A server holds one site at "/", or several, each at
// "/<name>/" with a directory, stores and session key of its own, so every team of a company
// can have its own team pages on one server.

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "site/SiteServices.h"

namespace orbitel::host {

class PageSources;
class SessionKeyring;

struct ServedSite {
  // The first segment of the site's addresses; empty for the one site of a server.
  std::string name;
  std::filesystem::path folder;
  // The site's directory, stores and clock; never null.
  std::shared_ptr<const site::SiteServices> services;
  // Read or made when the server binds its address.
  std::shared_ptr<SessionKeyring> keyring;
  // What the site's kept pages are made from; made with the keyring.
  std::shared_ptr<PageSources> sources;
};

// Whether a folder name can stand as the first segment of a site's addresses as it is:
// letters, digits, '-', '_' and '.', not starting with a dot.
bool IsSiteName(std::string_view name);

// The plain page at "/" of a server that holds several sites: a link to each.
std::string SiteIndexPage(const std::vector<ServedSite>& sites);

}  // namespace orbitel::host
