#pragma once
// The account the calendar binds to the LDAP server as, kept in a small text file of its own so
// the password stays off the command line and out of the process list:
//
//   # the calendar's reader account
//   dn: CN=Calendar Reader,OU=Service,DC=corp,DC=example
//   password: s3cret
//
// Names are case-insensitive; values lose their surrounding blanks ("dn:: " and "password:: "
// take base64, as in LDIF, for values that need them). Blank lines and lines starting with '#'
// are passed over; both lines must be there, once each and not empty.

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
