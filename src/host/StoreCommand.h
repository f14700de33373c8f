#pragma once
// `orbitel store ...`: the operator's tool for the local store: create mailboxes, import and
// export iCalendar files, list a mailbox's items, fill a domain with demo appointments, back the
// store up and restore it.

#include <ostream>
#include <string>
#include <vector>

namespace orbitel::host {

// args are what follows "store"; returns the process exit code (0 done, 1 failed, 2 misused).
int RunStoreCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);

void PrintStoreUsage(std::ostream& out);

}  // namespace orbitel::host
