#pragma once
// The demo site `orbitel serve` runs when it is given no site folder: a copy of the shipped site
// with the demo directory and a local store filled with demo appointments, kept outside the
// source tree in $XDG_DATA_HOME/orbitel/demo (~/.local/share/orbitel/demo without it).

#include <filesystem>
#include <ostream>

#include "runtime/Status.h"

namespace orbitel::host {

std::filesystem::path DemoSiteFolder();

// Makes the demo site in `folder` from the shipped site folder, or brings an existing one up to
// date: the program's own files (templates, pictures, help pages, style sheet) are copied on
// every start so they follow the program; the settings, user list, directory and store are made
// once and then kept with whatever the site's users changed. Says what it does on `progress`.
Status PrepareDemoSite(const std::filesystem::path& shipped, const std::filesystem::path& folder,
                       std::ostream& progress);

// The shipped site folder: share/orbitel/site beside the installed program, else "www" of the
// source tree this program was built from.
std::filesystem::path ShippedSiteFolder();

}  // namespace orbitel::host
