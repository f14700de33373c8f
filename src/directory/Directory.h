#pragma once
// The organisation's directory of accounts: who the team pages can show, and the naming context
// the domain's name comes from. Sources: an LDIF file (LdifDirectory.h) or an LDAP server
// (LdapDirectory.h), which take the same entries as accounts (AccountRules.h). Implementations
// are safe to call from several threads at once.

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
// "file:///path/directory.ldif" or a plain path (an LdifDirectory), or "ldap://host:port/" or
// "ldaps://host:port/" (an LdapDirectory). A source that cannot be read or reached is not an
// error here: its calls fail later, and succeed once it is back. For an LDAP server,
// credentials_file names the file with the DN and password to bind with (CredentialsFile.h);
// without one the server is read anonymously. A credentials file that cannot be read or parsed
// fails here with its own error, as does an LDAP address libldap does not take
// (errors::kInvalidDirectoryAddress); file sources ignore credentials_file. Any other scheme,
// or another host's file, fails with errors::kInvalidDirectoryAddress
// (directory/DirectoryErrors.h).
Result<std::shared_ptr<const Directory>> OpenDirectory(const std::string& uri,
                                                       const std::string& credentials_file = "");

}  // namespace orbitel::directory
