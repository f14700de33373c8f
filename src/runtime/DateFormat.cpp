// Dates written in the runtime's named formats for the US English locale.

#include <string>

#include "runtime/Conversions.h"
#include "runtime/DateText.h"

namespace orbitel {

namespace {

constexpr const char* kMonthNames[] = {"January",   "February", "March",    "April",
                                       "May",       "June",     "July",     "August",
                                       "September", "October",  "November", "December"};
constexpr const char* kWeekdayNames[] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                         "Thursday", "Friday", "Saturday"};

// Years below 1000 keep four digits, as the "yyyy" picture writes them; that also keeps them
// from reading back as two-digit years.
std::string FourDigitYear(int year) {
  std::string digits = std::to_string(year);
  return std::string(digits.size() < 4 ? 4 - digits.size() : 0, '0') + digits;
}

// Padded in place: GCC 12 at -O3 warns falsely (-Wrestrict) on "literal" + std::string.
std::string TwoDigits(int value) {
  std::string digits = std::to_string(value);
  if (value < 10) digits.insert(digits.begin(), '0');
  return digits;
}

}  // namespace

std::string FormatShortDate(Date date) {
  return std::to_string(date.Month()) + "/" + std::to_string(date.Day()) + "/" +
         FourDigitYear(date.Year());
}

std::string FormatLongTime(Date date) {
  const int hour = date.Hour();
  const int twelve_hour = hour % 12 == 0 ? 12 : hour % 12;
  return std::to_string(twelve_hour) + ":" + TwoDigits(date.Minute()) + ":" +
         TwoDigits(date.Second()) + (hour < 12 ? " AM" : " PM");
}

std::string FormatGeneralDate(Date date) {
  if (date.IsTimeOnly()) return FormatLongTime(date);
  if (date.IsMidnight()) return FormatShortDate(date);
  return FormatShortDate(date) + " " + FormatLongTime(date);
}

std::string FormatLongDate(Date date) {
  return std::string(kWeekdayNames[date.Weekday() - 1]) + ", " + kMonthNames[date.Month() - 1] +
         " " + TwoDigits(date.Day()) + ", " + FourDigitYear(date.Year());
}

}  // namespace orbitel
