#pragma once
// The small text files that hold the account Orbitel signs in to another server with (the LDAP
// directory, a CalDAV store), so the password stays off the command line and out of the process
// list:
//
//   # the calendar's reader account
//   user: orbitel
//   password: s3cret
//
// One "name: value" a line; names are matched ignoring case; names and values lose their
// surrounding spaces and tabs, so a value may itself hold colons. Blank lines and lines starting
// with '#' are passed over. Each name the reader asks for must be there once, and no other.

#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace orbitel {

// What is wrong with a credentials file, for its reader to say in the words its users know.
// Never carries a value, so no message can repeat the password.
struct CredentialsFault {
  enum Kind {
    kNotFound,     // the file or a folder on its path does not exist (system_error)
    kCannotOpen,   // it exists and cannot be opened (system_error)
    kCannotRead,   // it opened and cannot be read, as a folder does (system_error)
    kTooLarge,     // far larger than two lines
    kNoColon,      // at line: a line that is not "name: value"
    kUnknownName,  // at line: a name not asked for
    kRepeated,     // at line: a name given a second time
    kNotBase64,    // at line: a "name:: value" whose value does not decode
    kEmpty,        // at line: an empty value where none may be
    kMissing,      // a name asked for is not there (the first one missing)
  };
  Kind kind;
  int line = 0;         // 0 where no line is at fault
  std::string name;     // as written in the file, or as asked for when missing
  int system_error = 0; // errno of the file errors
};

struct CredentialsFormat {
  std::vector<std::string_view> names;
  // Decodes a value written "name:: value" (base64, as in LDIF), or nothing when it does not
  // decode; without it, "::" is no mark and the second colon starts the value.
  std::optional<std::string> (*decode_base64)(std::string_view) = nullptr;
  bool empty_values = true;
};

// The value of each of the format's names, in the format's order, or what is wrong with the
// file (the first fault in file order; missing names after the whole file was read).
std::variant<std::vector<std::string>, CredentialsFault> ReadCredentials(const std::string& path,
                                                                         const CredentialsFormat& format);

}  // namespace orbitel
