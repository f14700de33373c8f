#pragma once
// The account the program signs in to a CalDAV calendar store with, as the operator keeps it in
// a small text file:
//
//   # the service account that reads the team's calendars
//   user: orbitel
//   password: s3cret
//
// Blank lines and lines starting with '#' are skipped; blanks around names and values are
// trimmed; "user" and "password" are matched ignoring case. The password is everything after
// the first colon, so it may itself hold colons.

#include <string>

#include "runtime/Status.h"

namespace orbitel::data {

struct StoreCredentials {
  std::string user;
  std::string password;
};

// A missing file is errors::kPathNotFound, an unreadable one errors::kPermissionDenied (as the
// directory's credentials file); errors::kSyntaxError, "line N of <file>: ...", for a line that
// is neither of the two or a name given twice, and for a file without both lines or with an
// empty user. Descriptions never repeat the password.
Result<StoreCredentials> ReadStoreCredentials(const std::string& path);

}  // namespace orbitel::data
