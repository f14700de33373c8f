#pragma once
// What a site's calendar mirror keeps in step, as the site's files say at the moment it is
// asked: the calendars of the people its users file includes, when its settings name a CalDAV
// store, and how often to bring them in step (the settings' MirrorInterval).

#include <string>

#include "caldav/MirrorRefresher.h"

namespace orbitel::site {

// Loads the site's settings file into the calling thread's site state and reads its users file;
// a file that cannot be read leaves nothing to refresh this time (the pages report it).
data::MirrorRefresher::Plan SiteMirrorPlan(const std::string& site_path);

}  // namespace orbitel::site
