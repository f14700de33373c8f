#pragma once
// Base64 (RFC 4648) as LDIF carries values that are binary, non-ASCII or have leading blanks.

#include <optional>
#include <string>
#include <string_view>

namespace orbitel::directory {

// The decoded bytes, or nothing when the text is not base64. Padding may be left out; blanks
// and characters outside the alphabet are not accepted.
std::optional<std::string> DecodeBase64(std::string_view text);

}  // namespace orbitel::directory
