#include "site/DateHelpers.h"

#include <array>

namespace orbitel::site {

namespace {
constexpr std::array<const char*, 7> kDayNames = {"Monday", "Tuesday",  "Wednesday", "Thursday",
                                                  "Friday", "Saturday", "Sunday"};
constexpr std::array<const char*, 12> kMonthNames = {
    "January", "February", "March",     "April",   "May",      "June",
    "July",    "August",   "September", "October", "November", "December"};
}  // namespace

std::string DayName(Date date, int style) {
  std::string name = kDayNames[date.IsoWeekday() - 1];
  return style == 1 ? name : name.substr(0, 3);
}

std::string MonthName(Date date) { return kMonthNames[date.Month() - 1]; }

std::string PadTwo(std::string_view text) {
  // Padded in place: GCC 12 at -O3 warns falsely (-Wrestrict) on "literal" + std::string.
  std::string padded(text.size() < 2 ? 1 : 0, '0');
  padded += text;
  return padded;
}

std::string PadTwo(int value) { return PadTwo(std::to_string(value)); }

std::string StoreDateTime(Date date) {
  return std::to_string(date.Year()) + "-" + PadTwo(date.Month()) + "-" + PadTwo(date.Day()) +
         "T" + PadTwo(date.Hour()) + ":" + PadTwo(date.Minute()) + ":01Z";
}

std::string BusyImage(std::string_view flag, std::string_view image_a, std::string_view image_b,
                      std::string_view text) {
  std::string_view image = (flag == "Yes" && text.size() > 1) ? image_a : image_b;
  return "images/" + std::string(image) + "_pix.gif";
}

std::int16_t DaysInMonth(int month, int year) {
  // The day before the first of the next month; December's next month is January.
  Date first_of_next = month == 12 ? Date::FromParts(year + 1, 1, 1).value_or(Date())
                                   : Date::FromParts(year, month + 1, 1).value_or(Date());
  return static_cast<std::int16_t>(Date(first_of_next.serial() - 1).Day());
}

Date WeekStart(Date date) {
  return date.AddDays(-(date.IsoWeekday() - 1)).value_or(date);
}

double HalfHourFraction(int minute) {
  if (minute < 16) return 0;
  if (minute <= 45) return 0.5;
  if (minute > 46) return 1;
  return 0;
}

}  // namespace orbitel::site
