#pragma once
// The domain's name and the people of the domain the team pages can show, from the account
// directory and the local store's root folder.

#include <string>

#include "site/UserList.h"

namespace orbitel::site {

// The directory's naming context with every "DC=" (exactly so spelt) removed and commas turned
// into dots: DC=corp,DC=example,DC=com gives corp.example.com, but dc=corp,dc=example gives
// dc=corp.dc=example. Empty on failure (logged under "AdminStuff.GetDomainName").
std::string GetDomainName();

// The name of the store root's last sub-folder in the order the file system lists them,
// lower-cased: the mail domain of the local store. Empty when the root has none; a missing root
// is logged under "AdminStuff.GetDomainNameFromMDrive".
std::string GetDomainNameFromMDrive();

// Appends to users an entry for each of the directory's accounts that is enabled and is not a
// service, resource or system account, then fills the users file on the site's first run.
// Before the settings have loaded it only sets ErrorText to the no-domain error. Failures are
// logged under "AdminStuff.GetFolderPaths"; the entries stored before stay.
void GetFolderPaths(UserList& users);

// The fixed exclusion rules: web, terminal, media and database server accounts (exact-case
// prefixes), rooms and resource calendars (any-case substrings), this program's own accounts
// (any-case whole names).
bool IsListedAccount(const std::string& name, bool disabled);

}  // namespace orbitel::site
