#pragma once
// Error numbers the directory sources report besides the runtime's file errors (a missing file
// is errors::kPathNotFound, an unreadable one errors::kPermissionDenied). They are the numbers
// the directory service client reports for the same conditions, so the error log reads alike
// whichever source is configured.

namespace orbitel::directory::errors {

// The LDIF file, or the file holding the directory credentials, cannot be parsed; the
// description names the file and the line.
inline constexpr long kDirectoryFileMalformed = -2147016661;
// A --directory value whose scheme no source handles, or an LDAP address libldap does not take
// (ADSI's "invalid directory pathname").
inline constexpr long kInvalidDirectoryAddress = -2147463168;
// A scheme this build has no source for (the provider is not installed).
inline constexpr long kDirectoryProviderNotAvailable = 3706;

// The LDAP server cannot be reached, dropped the connection or stopped answering ("the server
// is not operational").
inline constexpr long kDirectoryServerDown = -2147016646;
// The LDAP server refused the bind DN and password ("logon failure: unknown user name or bad
// password").
inline constexpr long kDirectoryLogonFailure = -2147023570;
// The LDAP server stopped a search at its size limit, or at another administrative limit,
// before every entry came.
inline constexpr long kDirectorySizeLimitExceeded = -2147016669;
inline constexpr long kDirectoryAdminLimitExceeded = -2147016668;
// The LDAP server's root entry names no naming context ("there is no such object on the
// server").
inline constexpr long kDirectoryNoSuchObject = -2147016656;
// Any other refusal or failure of an LDAP operation ("an operations error occurred"); the
// description carries the server's own words.
inline constexpr long kDirectoryOperationFailed = -2147016672;

}  // namespace orbitel::directory::errors
