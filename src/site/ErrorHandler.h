#pragma once
// The one error handler shape every site routine has: run the body; if it reports a failure, or
// throws, write one line to the error log under the routine's fixed name and return normally.
// A page never aborts because of a failure inside a routine.

#include <functional>
#include <string_view>

#include "runtime/Status.h"

namespace orbitel::site {

// Returns the body's Status (or the one made of the exception it threw) after logging it.
Status RunLogged(std::string_view routine, const std::function<Status()>& body,
                 std::string_view context = "");

}  // namespace orbitel::site
