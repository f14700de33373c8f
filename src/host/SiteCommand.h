#pragma once
// `orbitel site ...`: what an administrator does to a site folder from the shell.
//   orbitel site rotate-key DIR   a new session key: every session of the site ends (processes
//                                 serving it take the new key within a second)

#include <ostream>
#include <string>
#include <vector>

namespace orbitel::host {

// Returns the exit status: 0 done, 1 failed, 2 a usage error.
int RunSiteCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);

}  // namespace orbitel::host
