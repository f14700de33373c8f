#pragma once
// Error numbers the directory sources report besides the runtime's file errors (a missing file
// is errors::kPathNotFound, an unreadable one errors::kPermissionDenied). They are the numbers
// the directory service client reports for the same conditions, so the error log reads alike
// whichever source is configured.

namespace orbitel::directory::errors {

// The LDIF file cannot be parsed; the description names the file and the line.
inline constexpr long kDirectoryFileMalformed = -2147016661;
// A --directory value whose scheme no source handles (ADSI's "invalid directory pathname").
inline constexpr long kInvalidDirectoryAddress = -2147463168;
// A scheme this build has no source for (the provider is not installed).
inline constexpr long kDirectoryProviderNotAvailable = 3706;

}  // namespace orbitel::directory::errors
