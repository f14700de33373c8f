#pragma once
// The organisation's directory of accounts: who the team pages can show, and the naming context
// the domain's name comes from. Sources: an LDIF file (LdifDirectory.h); LDAP joins later behind
// the same interface. Implementations are safe to call from several threads at once.

#include <memory>
#include <string>
#include <vector>

#include "runtime/Status.h"

namespace orbitel::directory {

struct Account {
  std::string name;       // sAMAccountName, else uid
  std::string full_name;  // displayName, else cn
  bool disabled = false;  // userAccountControl bit 0x2, nsAccountLock TRUE, or pwdAccountLockedTime
};

class Directory {
 public:
  virtual ~Directory() = default;

  // The naming context as the directory spells it, e.g. "DC=corp,DC=example,DC=com".
  virtual Result<std::string> NamingContext() const = 0;
  // The user accounts (objectClass user, person, organizationalPerson or inetOrgPerson, not
  // computer) in the order the source gives them.
  virtual Result<std::vector<Account>> Accounts() const = 0;
};

// The DNS form of a naming context: its DC components in order, joined with dots, whatever the
// case of "dc" ("DC=corp,DC=example,DC=com" -> "corp.example.com"). Empty when it has none.
std::string DnsNameOf(const std::string& naming_context);

// Opens the source a --directory value names: "file:/path/directory.ldif",
// "file:///path/directory.ldif" or a plain path (an LdifDirectory). A source that cannot be read
// is not an error here: its calls fail later, as an unreachable server's would. "ldap://" and
// "ldaps://" fail with errors::kDirectoryProviderNotAvailable until this build has an LDAP
// source; any other scheme, or another host's file, with errors::kInvalidDirectoryAddress
// (directory/DirectoryErrors.h).
Result<std::shared_ptr<const Directory>> OpenDirectory(const std::string& uri);

}  // namespace orbitel::directory
