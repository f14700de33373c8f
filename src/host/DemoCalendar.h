#pragma once
// The appointments `orbitel store demo` puts into each mailbox, so a new site shows something
// on every team page: timed, all-day and multi-day items, a weekly meeting with a moved and a
// cancelled occurrence, private, free, tentative and out-of-office items, around the given day.
// The same account and day always give the same items; their UIDs share kDemoUidPrefix so a
// later run can replace them.

#include <string>
#include <vector>

#include "runtime/Date.h"

namespace orbitel::host {

inline constexpr const char* kDemoUidPrefix = "orbitel-demo-";

// One VCALENDAR text per appointment; today is the server's local date.
std::vector<std::string> DemoAppointments(const std::string& account, Date today);

}  // namespace orbitel::host
