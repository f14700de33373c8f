#pragma once
// The account the program signs in to a CalDAV calendar store with, in a credentials file
// (runtime/CredentialsFile.h):
//
//   # the service account that reads the team's calendars
//   user: orbitel
//   password: s3cret

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
