#pragma once
// The error log: every routine's error handler appends one line to "Errorfile.Log" in the site
// folder, or to the fallback file in the system's temporary folder when that fails. Each line is
// written with a single append, so lines from concurrent requests never interleave. Each entry
// also goes to stderr as one line, for the service's journal. Never fails outward: if neither
// file takes the line, it is lost.

#include <string_view>

#include "runtime/Status.h"

namespace orbitel::site {

// One line: "<now>, Routine : <routine>, <number>   <description>.  ----  <context>", written
// in double quotes and ended with CR LF.
void WriteErrorLog(std::string_view routine, std::string_view number,
                   std::string_view description, std::string_view context = "");
void WriteErrorLog(std::string_view routine, const Status& error, std::string_view context = "");

}  // namespace orbitel::site
