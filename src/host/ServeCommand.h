#pragma once
// `orbitel serve`: serves a site folder, or with no --site the demo site, until SIGINT or
// SIGTERM.

#include <ostream>
#include <string>
#include <vector>

namespace orbitel::host {

// args are what follows "serve"; returns the process exit code (0 stopped cleanly, 1 could not
// start, 2 misused).
int RunServeCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);

void PrintServeUsage(std::ostream& out);

}  // namespace orbitel::host
