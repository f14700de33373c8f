#include "runtime/Date.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <utility>

namespace orbitel {
namespace {

// A moment as its calendar parts ("2003-03-05 09:30:00"), or the error that there is none.
std::string Shown(const Result<Date>& date) {
  if (!date.ok()) return "error " + std::to_string(date.status().number()) + " " + date.status().description();
  char text[32];
  std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", date->Year(), date->Month(), date->Day(),
                date->Hour(), date->Minute(), date->Second());
  return text;
}
Date Ymd(int year, int month, int day) { return *Date::FromParts(year, month, day); }
constexpr char kOverflow[] = "error 6 Overflow";

TEST(DateParts, OfMomentsMadeAndMoved) {
  const std::pair<Result<Date>, const char*> cases[] = {
      // Before the origin the fraction is still time forward: -1.25 is 29 December, 06:00.
      {Date(0), "1899-12-30 00:00:00"}, {Date(61), "1900-03-01 00:00:00"}, {Date(36585), "2000-02-29 00:00:00"},
      {Date(37685), "2003-03-05 00:00:00"}, {Date(-1.25), "1899-12-29 06:00:00"}, {Date(-0.75), "1899-12-30 18:00:00"},
      {Date(-657434), "0100-01-01 00:00:00"}, {Date(2958465.5), "9999-12-31 12:00:00"},
      {Date(37685 + 86399.9999 / 86400), "2003-03-06 00:00:00"},  // parts of the value rounded to the second
      // Months and days out of range carry; two-digit years are widened first: 99 + 13 months
      // is January 2000.
      {Date::FromParts(2003, 2, 31), "2003-03-03 00:00:00"}, {Date::FromParts(2003, 0, 1), "2002-12-01 00:00:00"},
      {Date::FromParts(2003, -1, 1), "2002-11-01 00:00:00"}, {Date::FromParts(2004, 3, 0), "2004-02-29 00:00:00"},
      {Date::FromParts(1900, 3, 0), "1900-02-28 00:00:00"}, {Date::FromParts(2000, 3, 0), "2000-02-29 00:00:00"},
      {Date::FromParts(2003, 1, -1), "2002-12-30 00:00:00"}, {Date::FromParts(30, 1, 1), "1930-01-01 00:00:00"},
      {Date::FromParts(99, 13, 1), "2000-01-01 00:00:00"}, {Date::FromTime(25, 0, 0), "1899-12-31 01:00:00"},
      {Date::FromTime(0, -1, 0), "1899-12-29 23:59:00"},
      // Months clip to the target month's length and keep the time.
      {Ymd(2004, 1, 31).AddMonths(1), "2004-02-29 00:00:00"}, {Ymd(1900, 1, 31).AddMonths(1), "1900-02-28 00:00:00"},
      {Ymd(2003, 3, 31).AddMonths(-1), "2003-02-28 00:00:00"},
      {Ymd(2003, 1, 15).AddMonths(-13), "2001-12-15 00:00:00"},
      {Date(Ymd(2000, 1, 31).serial() + 0.375).AddMonths(1), "2000-02-29 09:00:00"},
      {Date(-1.25).AddMonths(1), "1900-01-29 06:00:00"}, {Ymd(2004, 2, 29).AddYears(1), "2005-02-28 00:00:00"},
      // Days and time units cross the origin.
      {Date(0.25).AddDays(-1), "1899-12-29 06:00:00"}, {Date(0.25).AddHours(-7), "1899-12-29 23:00:00"},
      {Ymd(2003, 2, 28).AddHours(36), "2003-03-01 12:00:00"},
      // Only the years 100 to 9999 are valid.
      {Date::FromParts(100, 1, 0), kOverflow}, {Date::FromParts(9999, 12, 32), kOverflow},
      {Date::FromParts(2003, 2000000000, 1), kOverflow}, {Ymd(9999, 12, 1).AddMonths(1), kOverflow},
      {Ymd(9999, 12, 31).AddSeconds(86400), kOverflow}, {Ymd(100, 1, 1).AddDays(-1), kOverflow},
  };
  for (const auto& [date, shown] : cases) EXPECT_EQ(Shown(date), shown) << (date.ok() ? date->serial() : 0);
}

TEST(DateSerial, CountsDaysFromTheOriginAndComparesMoments) {
  const std::pair<Date, double> serials[] = {
      {Ymd(100, 1, 1), -657434},      {Ymd(9999, 12, 31), 2958465},       {*Date::FromTime(12, 0, 0), 0.5},
      {*Date(0.25).AddDays(-1), -1.25}, {Date(-1.25).DatePart(), -1}, {Date(-1.25).TimePart(), 0.25}};
  for (const auto& [date, serial] : serials) EXPECT_EQ(date.serial(), serial);
  // -1.25 is 29 December 06:00: after -1 (midnight of that day), before the origin.
  EXPECT_LT(Date(-1), Date(-1.25));
  EXPECT_LT(Date(-1.25), Date(0));
  EXPECT_EQ(Date(-0.5), Date(0.5));
  EXPECT_EQ(DaysIn(2100, 2), 28);
  EXPECT_EQ(DaysIn(2003, 14), 29);  // February 2004
  // Weekdays from Sunday and, the ISO way, from Monday.
  const std::pair<Date, std::pair<int, int>> weekdays[] = {
      {Date(0), {7, 6}}, {Date(-1.25), {6, 5}}, {Ymd(2003, 3, 9), {1, 7}}, {Ymd(2003, 3, 10), {2, 1}}};
  for (const auto& [date, want] : weekdays) EXPECT_EQ(std::pair(date.Weekday(), date.IsoWeekday()), want);
}

}  // namespace
}  // namespace orbitel
