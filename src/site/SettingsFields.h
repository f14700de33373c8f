#pragma once
// Saving a few named fields of the settings file ("OrbitelSettings.xml") beside the others, for
// the settings added after the file's first version (feeds, the calendar mirror): a file from
// before them gets the fields declared in its schema on their first save.

#include <string>
#include <utility>
#include <vector>

#include "runtime/Status.h"

namespace orbitel::site {

// Sets the fields on the first row (made when the file has none) of the settings file in the
// site folder (with its separator), under the settings' save lock; all or nothing.
Status SaveSettingsFields(const std::string& site_path, const std::vector<std::pair<std::string, std::string>>& fields);

}  // namespace orbitel::site
