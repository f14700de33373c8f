#pragma once
// The present moment as the pages see it. Tests fix it per thread, or for every thread of the
// process (a server's request threads), so that "today" and "now" are known; otherwise it is
// the system's local time.

#include <optional>

#include "runtime/Date.h"

namespace orbitel::site {

Date Now();
Date Today();

// Fixes (or, with nullopt, releases) the present moment for the calling thread; it wins over
// the process's.
void FixClockForThread(std::optional<Date> now);
// Fixes (or releases) the present moment for every thread.
void FixClockForProcess(std::optional<Date> now);

}  // namespace orbitel::site
