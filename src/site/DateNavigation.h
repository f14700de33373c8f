#pragma once
// The date a page shows, read from the request, and the query string of every link that
// carries a date.

#include <string>
#include <string_view>

#include "runtime/Date.h"
#include "runtime/Status.h"

namespace orbitel::site {

class PageContext;

// MONTH, YEAR and DAY from the request: a number (as a 16-bit integer, half to even), a
// movement keyword relative to today ("previousmonth", "nextmonth", "previousyear", "nextyear",
// "previousday", "nextday", "today"; exact case), or else today's part; then date-serial
// carrying. A number out of range, or a date out of range, is an overflow error.
Result<Date> RequestedDateFrom(const PageContext& context, Date today);

// "?DAY=5&MONTH=3&YEAR=2003&USER=" followed by user when it is longer than one character, else
// by the request's own "USER" value. Nothing is URL-encoded; the user is HTML-escaped, as the
// text goes into an href.
std::string BuildDateLinkQuery(Date date, std::string_view user);
// Its two parts, for a table that writes many links: the date's, "?DAY=5&MONTH=3&YEAR=2003&USER=",
// and the user's.
std::string DateLinkQueryStart(Date date);
std::string DateLinkUser(std::string_view user);

// RequestedDate read back as a date; today when it holds no date.
Date RequestedDateValue();

}  // namespace orbitel::site
