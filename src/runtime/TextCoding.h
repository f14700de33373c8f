#pragma once
// The text codings every part of the program speaks: hex digits and the percent coding of
// addresses, query strings and forms.

#include <string>
#include <string_view>

namespace orbitel {

// The value of a hex digit in either case; -1 for any other character.
int HexDigit(char c);

// "%XX" escapes undone (a "%" not followed by two hex digits stays as it is); with
// plus_is_space, a "+" is a blank, as in query strings and posted forms.
std::string PercentDecode(std::string_view text, bool plus_is_space = false);

// Every byte but ASCII letters, digits and the characters in `kept` as "%XX" with upper-case
// hex; with space_as_plus, a blank is "+" (the classic URL encoding of query values).
std::string PercentEncode(std::string_view text, std::string_view kept = "", bool space_as_plus = false);

}  // namespace orbitel
