#pragma once
// Small date and text helpers the views, the store query and the appointment page share: day
// and month names (fixed English, whatever the server's locale), two-digit padding, the store
// query's date text, the busy picture, month lengths, the week's Monday and half-hour rounding.
// Pure functions; thread-safe.

#include <cstdint>
#include <string>
#include <string_view>

#include "runtime/Date.h"

namespace orbitel::site {

// style 1: "Monday"; any other style: "Mon".
std::string DayName(Date date, int style);
std::string MonthName(Date date);
// The text with a "0" in front when it is shorter than two characters ("7" -> "07", "" -> "0").
std::string PadTwo(std::string_view text);
std::string PadTwo(int value);
// "2003-03-05T09:05:01Z": the seconds are always 01 and the text always ends in Z, whatever the
// value's seconds or time zone; store queries rely on that form.
std::string StoreDateTime(Date date);
// "images/<imageA>_pix.gif" when flag is exactly "Yes" and text is longer than one character,
// else "images/<imageB>_pix.gif".
std::string BusyImage(std::string_view flag, std::string_view image_a, std::string_view image_b,
                      std::string_view text);
std::int16_t DaysInMonth(int month, int year);
// The Monday of the week holding date, with date's time of day.
Date WeekStart(Date date);
// The part of an hour a minute rounds to: below 16 gives 0, 16 to 45 gives 0.5, above 46
// gives 1, and exactly 46 gives 0 (the team views have always rounded it so).
double HalfHourFraction(int minute);

}  // namespace orbitel::site
