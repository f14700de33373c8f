#pragma once
// The runtime's date value: a count of days since 30 December 1899 with the time of day as the
// fraction, so 0.5 is noon of that day and a value below 1 with a fraction is a "time only"
// value. Negative serials count days before 1899-12-30 with the fraction still meaning time
// forward from midnight (-1.25 is 29 December 1899, 06:00), as the original runtime has it.
// Valid years are 100 to 9999; arithmetic that leaves them is an overflow error.
// Values are plain data; all functions are thread-safe.

#include <compare>

#include "runtime/Status.h"

namespace orbitel {

class Date {
 public:
  Date() = default;  // 30 December 1899, 00:00: the "time only" origin
  explicit Date(double serial) : serial_(serial) {}

  // Date-serial: a month or day outside its range carries into the neighbouring months and
  // years (month 0 is December of the year before, day 0 is the last day of the month before,
  // day 31 of month 2 lies in March); a year of 0 to 29 becomes 2000 to 2029 and 30 to 99
  // becomes 1930 to 1999. Overflow (error 6) when the result leaves the valid years.
  static Result<Date> FromParts(int year, int month, int day);
  // A time of day; hours, minutes and seconds carry like the date parts do.
  static Result<Date> FromTime(int hour, int minute, int second);
  // The system's present local time (resolution: one second) and its date at midnight.
  static Date Now();
  static Date Today();

  double serial() const { return serial_; }

  int Year() const;
  int Month() const;   // 1..12
  int Day() const;     // 1..31
  int Hour() const;    // 0..23
  int Minute() const;  // 0..59
  int Second() const;  // 0..59, rounded to the nearest second
  // 1 = Sunday .. 7 = Saturday, the runtime's default weekday numbering.
  int Weekday() const;
  // 1 = Monday .. 7 = Sunday.
  int IsoWeekday() const;

  Date DatePart() const;  // midnight of the same day
  Date TimePart() const;  // the time of day alone, on the "time only" origin
  bool IsTimeOnly() const { return DatePart().serial_ == 0; }
  bool IsMidnight() const;

  // Day, hour, minute and second arithmetic keeps the time of day where the unit allows.
  Result<Date> AddDays(int days) const;
  Result<Date> AddHours(int hours) const;
  Result<Date> AddMinutes(int minutes) const;
  Result<Date> AddSeconds(int seconds) const;
  // Calendar-month arithmetic: the day is kept and clipped to the target month's length
  // (31 January + 1 month = 28 or 29 February); the time of day is kept.
  Result<Date> AddMonths(int months) const;
  Result<Date> AddYears(int years) const;

  // Ordering compares the moments the values stand for.
  friend bool operator==(const Date& a, const Date& b);
  friend std::partial_ordering operator<=>(const Date& a, const Date& b);

 private:
  double serial_ = 0;
};

// Days in a month of a year, for callers that count rather than walk.
int DaysIn(int year, int month);

}  // namespace orbitel
