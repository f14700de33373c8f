#include "runtime/Date.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <ctime>

#include "runtime/ErrorNumbers.h"

namespace orbitel {

namespace {

constexpr std::int64_t kSecondsPerDay = 86400;
constexpr std::int64_t kFirstDay = -657434;  // 1 January 100
constexpr std::int64_t kLastDay = 2958465;   // 31 December 9999
// Days from 1 March of year 0 to 30 December 1899 in the proleptic Gregorian calendar that the
// runtime uses for every year.
constexpr std::int64_t kEpochShift = 693899;

std::int64_t FloorDiv(std::int64_t a, std::int64_t b) {
  return a / b - ((a % b != 0) && ((a < 0) != (b < 0)));
}
std::int64_t FloorMod(std::int64_t a, std::int64_t b) { return a - FloorDiv(a, b) * b; }

bool IsLeap(std::int64_t year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

int MonthLength(std::int64_t year, int month) {
  static constexpr int kLengths[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && IsLeap(year) ? 29 : kLengths[month - 1];
}

// Day serial of a calendar date; the year counts from March so that the leap day ends it.
std::int64_t DayFromCivil(std::int64_t year, int month, int day) {
  year -= month <= 2;
  const std::int64_t era = FloorDiv(year, 400);
  const std::int64_t year_of_era = year - era * 400;
  const std::int64_t day_of_year = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
  const std::int64_t day_of_era =
      year_of_era * 365 + year_of_era / 4 - year_of_era / 100 + day_of_year;
  return era * 146097 + day_of_era - kEpochShift;
}

struct Civil {
  std::int64_t year;
  int month;
  int day;
};

Civil CivilFromDay(std::int64_t serial_day) {
  const std::int64_t z = serial_day + kEpochShift;
  const std::int64_t era = FloorDiv(z, 146097);
  const std::int64_t day_of_era = z - era * 146097;
  const std::int64_t year_of_era =
      (day_of_era - day_of_era / 1460 + day_of_era / 36524 - day_of_era / 146096) / 365;
  const std::int64_t day_of_year =
      day_of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
  const std::int64_t shifted_month = (5 * day_of_year + 2) / 153;
  const int day = static_cast<int>(day_of_year - (153 * shifted_month + 2) / 5 + 1);
  const int month = static_cast<int>(shifted_month < 10 ? shifted_month + 3 : shifted_month - 9);
  return {year_of_era + era * 400 + (month <= 2), month, day};
}

// A moment as a day serial and a second of that day. Every part the runtime reads comes from
// the serial rounded to whole seconds, so 9:05:59.9999 is 9:06:00 in hour, minute and second
// alike, and 23:59:59.9999 is already the next day.
struct Moment {
  std::int64_t day;
  std::int64_t second;  // 0..86399
};

Moment Split(double serial) {
  // Serials beyond any valid date only need to read as something defined.
  if (!std::isfinite(serial)) serial = 0;
  serial = std::clamp(serial, -1e8, 1e8);
  const double whole = std::trunc(serial);
  Moment moment{static_cast<std::int64_t>(whole),
                std::llround(std::fabs(serial - whole) * kSecondsPerDay)};
  if (moment.second == kSecondsPerDay) {
    ++moment.day;
    moment.second = 0;
  }
  return moment;
}

// The serial for a day and a second of the day (which may lie outside the day and carries). A
// day before the origin keeps its time as a positive fraction, subtracted from the day number.
double Join(std::int64_t day, std::int64_t second) {
  day += FloorDiv(second, kSecondsPerDay);
  second = FloorMod(second, kSecondsPerDay);
  const double fraction = static_cast<double>(second) / kSecondsPerDay;
  return day >= 0 ? static_cast<double>(day) + fraction : static_cast<double>(day) - fraction;
}

Status Overflow() { return Status::Error(errors::kOverflow, "Overflow"); }

Result<Date> Make(std::int64_t day, std::int64_t second) {
  const std::int64_t carried_day = day + FloorDiv(second, kSecondsPerDay);
  if (carried_day < kFirstDay || carried_day > kLastDay) return Overflow();
  return Date(Join(day, second));
}

// Month arithmetic on the moment rounded to the second; the day is clipped to the month.
Result<Date> ShiftMonths(double serial, std::int64_t months) {
  const Moment moment = Split(serial);
  const Civil civil = CivilFromDay(moment.day);
  const std::int64_t index = civil.year * 12 + (civil.month - 1) + months;
  const std::int64_t year = FloorDiv(index, 12);
  if (year < 100 || year > 9999) return Overflow();
  const int month = static_cast<int>(FloorMod(index, 12)) + 1;
  const int day = std::min(civil.day, MonthLength(year, month));
  return Make(DayFromCivil(year, month, day), moment.second);
}

Result<Date> ShiftSeconds(double serial, std::int64_t seconds) {
  const Moment moment = Split(serial);
  return Make(moment.day, moment.second + seconds);
}

}  // namespace

Result<Date> Date::FromParts(int year, int month, int day) {
  std::int64_t full_year = year;
  if (year >= 0 && year <= 29)
    full_year += 2000;
  else if (year >= 30 && year <= 99)
    full_year += 1900;
  full_year += FloorDiv(std::int64_t{month} - 1, 12);
  const int month_of_year = static_cast<int>(FloorMod(std::int64_t{month} - 1, 12)) + 1;
  // Keeps the day arithmetic far from integer limits; such years overflow anyway.
  if (full_year < -100000 || full_year > 100000) return Overflow();
  return Make(DayFromCivil(full_year, month_of_year, 1) + (std::int64_t{day} - 1), 0);
}

Result<Date> Date::FromTime(int hour, int minute, int second) {
  return Make(0, std::int64_t{hour} * 3600 + std::int64_t{minute} * 60 + second);
}

Date Date::Now() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  const std::int64_t day = DayFromCivil(local.tm_year + 1900, local.tm_mon + 1, local.tm_mday);
  return Date(Join(day, local.tm_hour * 3600 + local.tm_min * 60 + local.tm_sec));
}

Date Date::Today() { return Now().DatePart(); }

int Date::Year() const { return static_cast<int>(CivilFromDay(Split(serial_).day).year); }
int Date::Month() const { return CivilFromDay(Split(serial_).day).month; }
int Date::Day() const { return CivilFromDay(Split(serial_).day).day; }
int Date::Hour() const { return static_cast<int>(Split(serial_).second / 3600); }
int Date::Minute() const { return static_cast<int>(Split(serial_).second / 60 % 60); }
int Date::Second() const { return static_cast<int>(Split(serial_).second % 60); }

// 30 December 1899 was a Saturday.
int Date::Weekday() const { return static_cast<int>(FloorMod(Split(serial_).day + 6, 7)) + 1; }
int Date::IsoWeekday() const { return static_cast<int>(FloorMod(Split(serial_).day + 5, 7)) + 1; }

Date Date::DatePart() const { return Date(Join(Split(serial_).day, 0)); }
Date Date::TimePart() const { return Date(Join(0, Split(serial_).second)); }
bool Date::IsMidnight() const { return Split(serial_).second == 0; }

// Arithmetic works at the runtime's resolution of one second: results are whole seconds.
Result<Date> Date::AddDays(int days) const {
  const Moment moment = Split(serial_);
  return Make(moment.day + days, moment.second);
}
Result<Date> Date::AddHours(int hours) const {
  return ShiftSeconds(serial_, std::int64_t{hours} * 3600);
}
Result<Date> Date::AddMinutes(int minutes) const {
  return ShiftSeconds(serial_, std::int64_t{minutes} * 60);
}
Result<Date> Date::AddSeconds(int seconds) const { return ShiftSeconds(serial_, seconds); }
Result<Date> Date::AddMonths(int months) const { return ShiftMonths(serial_, months); }
Result<Date> Date::AddYears(int years) const {
  return ShiftMonths(serial_, std::int64_t{years} * 12);
}

// Moments compare as (day, time of day): the serial alone does not order negative values.
std::partial_ordering operator<=>(const Date& a, const Date& b) {
  if (std::isnan(a.serial_) || std::isnan(b.serial_)) return std::partial_ordering::unordered;
  const double a_day = std::trunc(a.serial_);
  const double b_day = std::trunc(b.serial_);
  if (a_day != b_day) return a_day <=> b_day;
  return std::fabs(a.serial_ - a_day) <=> std::fabs(b.serial_ - b_day);
}

bool operator==(const Date& a, const Date& b) { return (a <=> b) == 0; }

int DaysIn(int year, int month) {
  const std::int64_t full_year = year + FloorDiv(std::int64_t{month} - 1, 12);
  return MonthLength(full_year, static_cast<int>(FloorMod(std::int64_t{month} - 1, 12)) + 1);
}

}  // namespace orbitel
