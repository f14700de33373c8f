#pragma once
// The present moment as the pages see it: the clock of the site's services (a test or
// benchmark fixes it there), else the system's local time.

#include "runtime/Date.h"

namespace orbitel::site {

Date Now();
Date Today();

}  // namespace orbitel::site
