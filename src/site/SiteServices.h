#pragma once
// What the running program connects the site to: the account directory and the local calendar
// store's root folder. Set once when the program starts (or by a test before it runs pages) and
// only read while pages run.

#include <filesystem>
#include <memory>

#include "directory/Directory.h"

namespace orbitel::site {

struct SiteServices {
  // The organisation's directory; null means this computer is in no domain.
  std::shared_ptr<const directory::Directory> directory;
  // The local store's root: its sub-folders are the mail domains.
  std::filesystem::path store_root;
};

const SiteServices& Services();
// Also points the store providers at store_root.
void SetServices(SiteServices services);

}  // namespace orbitel::site
