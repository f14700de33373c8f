#pragma once
// Which directory entries are accounts and what an account entry says, the same whichever source
// the entries come from (an LDIF file or an LDAP server): objectClass user, person,
// organizationalPerson or inetOrgPerson but not computer; the name from sAMAccountName, else uid
// (entries with neither are left out); the full name from displayName, else cn; disabled by
// userAccountControl bit 0x2, nsAccountLock TRUE or any pwdAccountLockedTime.

#include <functional>
#include <optional>
#include <string_view>
#include <vector>

#include "directory/Directory.h"

namespace orbitel::directory {

// The values of one entry's attribute (name in any case) in the source's order, empty ones
// included; no values when the entry lacks the attribute.
using AttributeValues = std::function<std::vector<std::string_view>(std::string_view name)>;

// The account an entry holds, or nothing when it is not an account entry or has no name.
std::optional<Account> AccountOf(const AttributeValues& values_of);

// The attributes AccountOf reads, for sources that fetch only what they need.
const std::vector<const char*>& AccountAttributeNames();

// An LDAP search filter (RFC 4515) for the entries AccountOf may take: the person classes
// without the computers.
const char* AccountSearchFilter();

}  // namespace orbitel::directory
