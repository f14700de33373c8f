#pragma once
// The included-users file ("OrbitelUsers.xml"): which of the directory's accounts the team pages
// show. A user entry is "<account name>|<full name>"; lists keep the directory's order.

#include <string>
#include <string_view>
#include <vector>

#include "runtime/Status.h"

namespace orbitel::site {

using UserList = std::vector<std::string>;

// The entry's account name (or, with want_full_name, its full name), trimmed; empty when the
// entry has no account name.
std::string SplitUserEntry(std::string_view entry, bool want_full_name);

// Replaces the users file's rows with the entries' account names (an entry may be a plain
// account name), in order.
Status SaveUsers(const UserList& users);

// On the site's first run (the settings' "FirstTime" is not "NO" in any case) writes every
// entry's account name into the users file and then marks the first run done ("No").
// Failures are logged under "AdminStuff.InitialiseUsers".
void InitialiseUsers(const UserList& users);

// Removes, in place and keeping the order, the entries whose account is not in the users file.
// Does nothing before the settings have loaded. The file is filtered with the name as it
// stands, so a name with an apostrophe fails the filter: that is logged under
// "AdminStuff.CleanUpUsers" and the list is returned as shortened so far. The last remaining
// entry is never removed (a list cannot shrink to nothing); that too is logged.
void CleanUpUsers(UserList& users);

}  // namespace orbitel::site
