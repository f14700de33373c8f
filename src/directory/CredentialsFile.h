#pragma once
// The account the calendar binds to the LDAP server as, in a credentials file
// (runtime/CredentialsFile.h):
//
//   # the calendar's reader account
//   dn: CN=Calendar Reader,OU=Service,DC=corp,DC=example
//   password: s3cret
//
// "dn:: " and "password:: " take base64, as in LDIF, for values that need them. Both lines must
// be there, once each and not empty.

#include <string>

#include "runtime/Status.h"

namespace orbitel::directory {

struct BindCredentials {
  std::string dn;
  std::string password;
};

// The credentials the file holds. A missing file is errors::kPathNotFound, an unreadable one
// errors::kPermissionDenied, one that is not in the form above
// directory::errors::kDirectoryFileMalformed naming the file and the line. Descriptions never
// repeat the password.
Result<BindCredentials> ReadCredentialsFile(const std::string& path);

}  // namespace orbitel::directory
