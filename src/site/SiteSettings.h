#pragma once
// Loading the settings file ("OrbitelSettings.xml" in the site folder) into this thread's site
// state, and making the calendar store's connection settings from it.

#include <string>

#include "runtime/Status.h"

namespace orbitel::site {

// Reads the first row's settings, makes StoreUrlBase and StoreProvider, and looks up the
// domain's DNS name; SettingsLoaded is true only when all of that succeeded. A failure is
// logged under "AdminStuff.GetSiteVars": settings read before it keep their new values, the
// others their previous ones.
void GetSiteVars();

// The settings file's part of GetSiteVars, neither logged nor asking the directory: what the
// calendar mirror's refresher needs (StoreUrlBase, StoreProvider, MirrorInterval).
Status LoadSettingsFile();

// This computer's name as the network knows it (the host name up to its first dot).
std::string ComputerName();

}  // namespace orbitel::site
