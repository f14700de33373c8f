#pragma once
// Conversions between texts, numbers and dates as the original scripting runtime makes them,
// in the US English locale: the forms the pages, the queries and the error log print.
// All functions are pure and thread-safe.

#include <compare>
#include <cstdint>
#include <string>
#include <string_view>

#include "runtime/Date.h"
#include "runtime/Status.h"

namespace orbitel {

// The numeric test: surrounding blanks allowed, an optional sign, digits with at most one
// decimal point, thousands separators ("1,000"), an optional exponent ("1e3"), and hexadecimal
// or octal forms ("&H1F", "&O17"). Empty or blank text is not numeric.
bool IsNumeric(std::string_view text);

// The text as a double; a text that is not numeric is a type mismatch (error 13).
Result<double> ToDouble(std::string_view text);

// Conversion to a 16-bit integer, rounding half to even (2.5 -> 2, 3.5 -> 4, -2.5 -> -2);
// outside -32768..32767 it is an overflow (error 6). The text form accepts what IsNumeric does
// and fails with a type mismatch otherwise.
Result<std::int16_t> ToInteger(double value);
Result<std::int16_t> ToInteger(std::string_view text);

// "True"/"False" in any case, or a number (zero is false); anything else is a type mismatch.
Result<bool> ToBoolean(std::string_view text);

// A double in up to 15 significant digits without trailing zeros: 6.66666666666667, 10.5, 24,
// -0.25; very large or small magnitudes in the runtime's exponent form (1E+20, 1E-07).
std::string FormatDouble(double value);

// "True" / "False".
std::string FormatBoolean(bool value);


// ASCII case folding, as the runtime's UCase/LCase do for the texts this system compares.
std::string ToUpper(std::string_view text);
std::string ToLower(std::string_view text);
// Comparisons as ToLower(a) == ToLower(b) and ToLower(a) <=> ToLower(b) (bytes as unsigned
// char, then length), without building the lowered copies: filters and store queries compare
// texts for every row.
bool EqualsIgnoringCase(std::string_view a, std::string_view b);
std::strong_ordering CompareIgnoringCase(std::string_view a, std::string_view b);
// Leading and trailing spaces removed (Trim).
std::string Trim(std::string_view text);

}  // namespace orbitel
