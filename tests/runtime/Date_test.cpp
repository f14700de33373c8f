#include "runtime/Date.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <ctime>
#include <utility>

#include "runtime/ErrorNumbers.h"

namespace orbitel {
namespace {

struct Parts {
  int year, month, day, hour = 0, minute = 0, second = 0;
};

void ExpectParts(Date date, Parts want) {
  const Parts got{date.Year(), date.Month(), date.Day(), date.Hour(), date.Minute(), date.Second()};
  EXPECT_TRUE(got.year == want.year && got.month == want.month && got.day == want.day &&
              got.hour == want.hour && got.minute == want.minute && got.second == want.second)
      << "serial " << date.serial() << " reads " << got.year << "-" << got.month << "-" << got.day
      << " " << got.hour << ":" << got.minute << ":" << got.second;
}

Date Ymd(int year, int month, int day) { return *Date::FromParts(year, month, day); }

void ExpectOverflow(const Result<Date>& result) {
  ASSERT_FALSE(result.ok());
  EXPECT_EQ(result.status().number(), errors::kOverflow);
  EXPECT_EQ(result.status().description(), "Overflow");
}

TEST(DateSerial, KnownSerialsReadAsCalendarParts) {
  // Before the origin the fraction is still time forward: -1.25 is 29 December, 06:00.
  const std::pair<double, Parts> cases[] = {
      {0, {1899, 12, 30}},   {61, {1900, 3, 1}},          {36585, {2000, 2, 29}},
      {37685, {2003, 3, 5}}, {-1.25, {1899, 12, 29, 6}},  {-0.75, {1899, 12, 30, 18}},
      {-657434, {100, 1, 1}}, {2958465.5, {9999, 12, 31, 12}},
  };
  for (const auto& [serial, parts] : cases) ExpectParts(Date(serial), parts);
}

TEST(DateSerial, PartsComeFromTheValueRoundedToTheSecond) {
  ExpectParts(Date(37685 + 86399.9999 / 86400), {2003, 3, 6});
}

TEST(DateSerial, WeekdaysInBothNumberings) {
  const std::pair<Date, std::pair<int, int>> cases[] = {
      {Date(0), {7, 6}}, {Date(-1.25), {6, 5}}, {Ymd(2003, 3, 9), {1, 7}},
      {Ymd(2003, 3, 10), {2, 1}},
  };
  for (const auto& [date, want] : cases) {
    EXPECT_EQ(std::make_pair(date.Weekday(), date.IsoWeekday()), want) << date.serial();
  }
}

TEST(DateFromParts, OutOfRangeMonthsAndDaysCarry) {
  // Two-digit years are widened before carrying: 99 + 13 months is January 2000.
  const std::pair<Parts, Parts> cases[] = {
      {{2003, 2, 31}, {2003, 3, 3}}, {{2003, 0, 1}, {2002, 12, 1}}, {{2003, -1, 1}, {2002, 11, 1}},
      {{2004, 3, 0}, {2004, 2, 29}}, {{1900, 3, 0}, {1900, 2, 28}}, {{2000, 3, 0}, {2000, 2, 29}},
      {{2003, 1, -1}, {2002, 12, 30}}, {{30, 1, 1}, {1930, 1, 1}}, {{99, 13, 1}, {2000, 1, 1}},
  };
  for (const auto& [in, want] : cases) ExpectParts(Ymd(in.year, in.month, in.day), want);
}

TEST(DateFromParts, LeavingTheValidYearsOverflows) {
  EXPECT_EQ(Ymd(100, 1, 1).serial(), -657434);
  EXPECT_EQ(Ymd(9999, 12, 31).serial(), 2958465);
  ExpectOverflow(Date::FromParts(100, 1, 0));
  ExpectOverflow(Date::FromParts(9999, 12, 32));
  ExpectOverflow(Date::FromParts(2003, 2000000000, 1));
}

TEST(DateFromTime, TimesCarryIntoDays) {
  EXPECT_EQ(Date::FromTime(12, 0, 0)->serial(), 0.5);
  ExpectParts(*Date::FromTime(25, 0, 0), {1899, 12, 31, 1});
  ExpectParts(*Date::FromTime(0, -1, 0), {1899, 12, 29, 23, 59});
}

TEST(DateArithmetic, MonthsClipToTheTargetMonthAndKeepTheTime) {
  EXPECT_EQ(*Ymd(2004, 1, 31).AddMonths(1), Ymd(2004, 2, 29));
  EXPECT_EQ(*Ymd(1900, 1, 31).AddMonths(1), Ymd(1900, 2, 28));
  EXPECT_EQ(*Ymd(2003, 3, 31).AddMonths(-1), Ymd(2003, 2, 28));
  EXPECT_EQ(*Ymd(2003, 1, 15).AddMonths(-13), Ymd(2001, 12, 15));
  ExpectParts(*Date(Ymd(2000, 1, 31).serial() + 0.375).AddMonths(1), {2000, 2, 29, 9});
  ExpectParts(*Date(-1.25).AddMonths(1), {1900, 1, 29, 6});
  EXPECT_EQ(*Ymd(2004, 2, 29).AddYears(1), Ymd(2005, 2, 28));
  ExpectOverflow(Ymd(9999, 12, 1).AddMonths(1));
}

TEST(DateArithmetic, DaysAndTimeUnitsCrossTheOrigin) {
  const Date six_am(0.25);  // 30 December 1899, 06:00
  EXPECT_EQ(six_am.AddDays(-1)->serial(), -1.25);
  ExpectParts(*six_am.AddHours(-7), {1899, 12, 29, 23});
  ExpectParts(*Ymd(2003, 2, 28).AddHours(36), {2003, 3, 1, 12});
  ExpectOverflow(Ymd(9999, 12, 31).AddSeconds(86400));
  ExpectOverflow(Ymd(100, 1, 1).AddDays(-1));
}

TEST(DateParts, SplitsAndComparesMoments) {
  EXPECT_EQ(Date(-1.25).DatePart().serial(), -1);
  EXPECT_EQ(Date(-1.25).TimePart().serial(), 0.25);
  // -1.25 is 29 December 06:00: after -1 (midnight of that day), before the origin.
  EXPECT_LT(Date(-1), Date(-1.25));
  EXPECT_LT(Date(-1.25), Date(0));
  EXPECT_EQ(Date(-0.5), Date(0.5));
  EXPECT_EQ(DaysIn(2100, 2), 28);
  EXPECT_EQ(DaysIn(2003, 14), 29);  // February 2004
}

TEST(DateNow, FollowsTheLocalTimeZone) {
  setenv("TZ", "UTC0", 1);
  tzset();
  const double utc_days = static_cast<double>(std::time(nullptr)) / 86400 + 25569;
  const Date utc_now = Date::Now();
  EXPECT_NEAR(utc_now.serial(), utc_days, 2.0 / 86400);
  EXPECT_NEAR(utc_now.serial() * 86400, std::round(utc_now.serial() * 86400), 1e-3);
  setenv("TZ", "EST5", 1);  // five hours behind, no daylight saving
  tzset();
  EXPECT_NEAR(Date::Now().serial(), utc_days - 5.0 / 24, 2.0 / 86400);
  EXPECT_TRUE(Date::Today().IsMidnight());
  unsetenv("TZ");
  tzset();
}

}  // namespace
}  // namespace orbitel
