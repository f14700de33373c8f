#pragma once
// A directory read from an LDAP server (Active Directory, Samba, OpenLDAP) with libldap, over
// LDAP version 3. The naming context is the root entry's defaultNamingContext (Active Directory,
// Samba), else its first namingContexts value (OpenLDAP); the accounts are a subtree search under
// it, fetched in pages so a server's page or size limit is met, and taken by the same rules as
// the LDIF source's (AccountRules.h) in the order the server sends them.
//
// One connection per directory, opened on first use and bound with the configured DN and
// password (anonymous without them). Calls from several threads take turns on it; a connection
// the server dropped (a restart, an idle timeout) is replaced by a new one once per call. A
// server that cannot be reached or refuses the bind is an error of the call, never of the
// program: the next call tries again.

#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "directory/CredentialsFile.h"
#include "directory/Directory.h"

namespace orbitel::directory {

class LdapDirectory final : public Directory {
 public:
  struct Options {
    std::optional<BindCredentials> credentials;  // anonymous when there are none
    int page_size = 500;  // below Active Directory's usual MaxPageSize of 1000
    std::chrono::seconds connect_timeout{5};
    std::chrono::seconds answer_timeout{30};  // for each reply of the server
  };

  // A directory on the server at "ldap://host:port/" or "ldaps://host:port/" (a DN after the
  // host is not used; several addresses separated by blanks are tried in turn). An address
  // libldap does not take fails with errors::kInvalidDirectoryAddress; nothing is connected yet.
  static Result<std::shared_ptr<const LdapDirectory>> Open(std::string uri, Options options);

  ~LdapDirectory() override;

  Result<std::string> NamingContext() const override;
  // Every account entry, disabled ones included (flagged). A search the server stops at a size
  // or administrative limit is an error saying how many accounts came before it.
  Result<std::vector<Account>> Accounts() const override;

  const std::string& uri() const { return uri_; }

 private:
  class Connection;  // one bound libldap session

  LdapDirectory(std::string uri, Options options);

  // The connection, opened and bound if there is none.
  Result<Connection*> Connected() const;
  // The operation on the connection, one call at a time; once more on a new connection when a
  // connection from earlier calls turns out to be dropped.
  template <typename T>
  Result<T> WithConnection(Result<T> (LdapDirectory::*operation)(Connection&) const) const;
  // The naming context as the root entry gives it, on the current connection.
  Result<std::string> ReadNamingContext(Connection& connection) const;
  Result<std::vector<Account>> SearchAccounts(Connection& connection) const;

  std::string uri_;      // as configured, for messages
  std::string servers_;  // what libldap connects to
  Options options_;
  mutable std::mutex mutex_;
  mutable std::unique_ptr<Connection> connection_;  // null until first used and after a failure
};

}  // namespace orbitel::directory
