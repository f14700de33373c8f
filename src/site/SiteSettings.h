#pragma once
// Loading the settings file ("OrbitelSettings.xml" in the site folder) into this thread's site
// state, and making the calendar store's connection settings from it.

#include <optional>
#include <string>
#include <string_view>

#include "runtime/Status.h"

namespace orbitel::site {

// A setting that is a whole number: its field in the settings file, its range, and the value a
// file without it, or with anything else in it, stands for.
struct WholeNumberField {
  const char* field;
  int lowest, highest, fallback;
};
// The calendar mirror's: seconds between two refreshes, days it holds before and after today.
inline constexpr WholeNumberField kMirrorInterval{"MirrorInterval", 10, 86400, 60};
inline constexpr WholeNumberField kMirrorDaysBack{"MirrorDaysBack", 0, 3660, 365};
inline constexpr WholeNumberField kMirrorDaysAhead{"MirrorDaysAhead", 1, 3660, 730};

// The number the text stands for when it is a whole number (blanks around it aside) in range.
std::optional<int> WholeNumberIn(std::string_view text, const WholeNumberField& field);

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
