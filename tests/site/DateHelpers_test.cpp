// The shared date and text helpers, and the per-thread time-zone conversion under real zones.
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <thread>

#include "runtime/Conversions.h"
#include "site/DateHelpers.h"
#include "site/TimeZone.h"

namespace orbitel::site {
namespace {

Date At(int year, int month, int day, int hour = 0, int minute = 0, int second = 0) {
  return *Date::FromParts(year, month, day)->AddSeconds(hour * 3600 + minute * 60 + second);
}

TEST(DateHelpers, NamesArePlainEnglish) {
  const Date sunday = At(2003, 11, 9);
  EXPECT_EQ(DayName(sunday, 1), "Sunday");
  EXPECT_EQ(DayName(sunday, 0), "Sun");
  EXPECT_EQ(DayName(sunday, 2), "Sun");
  EXPECT_EQ(DayName(At(2003, 11, 3), 1), "Monday");
  EXPECT_EQ(MonthName(At(2003, 2, 1)), "February");
  EXPECT_EQ(MonthName(At(2003, 12, 31)), "December");
}

TEST(DateHelpers, TextsForPagesAndQueries) {
  EXPECT_EQ(PadTwo(7), "07");
  EXPECT_EQ(PadTwo(12), "12");
  EXPECT_EQ(PadTwo(""), "0");
  EXPECT_EQ(PadTwo("123"), "123");
  EXPECT_EQ(StoreDateTime(At(2003, 3, 5, 9, 5, 59)), "2003-03-05T09:05:01Z");
  EXPECT_EQ(StoreDateTime(At(2004, 12, 31)), "2004-12-31T00:00:01Z");
  EXPECT_EQ(BusyImage("Yes", "Location", "BUSY", "Room 1"), "images/Location_pix.gif");
  EXPECT_EQ(BusyImage("Yes", "Location", "BUSY", "R"), "images/BUSY_pix.gif");
  EXPECT_EQ(BusyImage("yes", "Location", "BUSY", "Room 1"), "images/BUSY_pix.gif");
}

TEST(DateHelpers, MonthLengthsAndWeekStarts) {
  EXPECT_EQ(DaysInMonth(2, 2004), 29);
  EXPECT_EQ(DaysInMonth(2, 2003), 28);
  EXPECT_EQ(DaysInMonth(2, 1900), 28);
  EXPECT_EQ(DaysInMonth(2, 2000), 29);
  EXPECT_EQ(DaysInMonth(12, 2003), 31);
  EXPECT_EQ(DaysInMonth(4, 2003), 30);
  EXPECT_EQ(WeekStart(At(2003, 11, 9)), At(2003, 11, 3));
  EXPECT_EQ(WeekStart(At(2003, 11, 3, 10)), At(2003, 11, 3, 10));
  EXPECT_EQ(WeekStart(At(2004, 1, 1, 8, 30)), At(2003, 12, 29, 8, 30));
}

TEST(DateHelpers, HalfHourRoundingKeepsItsGapAt46) {
  const std::pair<int, double> cases[] = {{0, 0},    {15, 0},  {16, 0.5}, {45, 0.5},
                                          {46, 0},   {47, 1},  {59, 1}};
  for (auto [minute, fraction] : cases) EXPECT_EQ(HalfHourFraction(minute), fraction) << minute;
  EXPECT_EQ(FormatDouble(HalfHourFraction(20)), "0.5");
  EXPECT_EQ(FormatDouble(HalfHourFraction(50)), "1");
}

// Runs body on a fresh thread (a thread asks the zone once) with TZ set to zone.
template <typename Body>
void InZone(const char* zone, Body body) {
  const char* previous = std::getenv("TZ");
  const std::string saved = previous ? previous : "";
  ::setenv("TZ", zone, 1);
  ::tzset();
  std::thread(body).join();
  if (previous) ::setenv("TZ", saved.c_str(), 1); else ::unsetenv("TZ");
  ::tzset();
}

bool DaylightNow() {
  std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  return local.tm_isdst > 0;
}

TEST(TimeZone, KeptRecordConvertsBothWays) {
  std::thread([] {
    KeepTimeZoneForThread({-600, -60}, 1);  // standard time ten hours east
    EXPECT_EQ(ToLocal(At(2003, 11, 3)), At(2003, 11, 3, 10));
    EXPECT_EQ(ToUtc(At(2003, 11, 3, 10)), At(2003, 11, 3));
    KeepTimeZoneForThread({-600, -60}, 2);  // daylight time
    EXPECT_EQ(ToLocal(At(2003, 11, 3)), At(2003, 11, 3, 11));
    KeepTimeZoneForThread({300, -60}, 2);
    EXPECT_EQ(ToLocal(At(2004, 1, 1, 2)), At(2003, 12, 31, 22));
  }).join();
}

TEST(TimeZone, SydneyAppliesTodaysOffsetToEveryDate) {
  InZone("Australia/Sydney", [] {
    const int hours = DaylightNow() ? 11 : 10;
    // The same offset in January and July: the one in force when the thread asked.
    EXPECT_EQ(ToLocal(At(2003, 1, 15, 12)), At(2003, 1, 15, 12 + hours));
    EXPECT_EQ(ToLocal(At(2003, 7, 15, 12)), At(2003, 7, 15, 12 + hours));
    EXPECT_EQ(ToUtc(At(2003, 7, 16, 0)), At(2003, 7, 16 - 1, 24 - hours));
  });
}

TEST(TimeZone, NewYorkIsBehindUtc) {
  InZone("America/New_York", [] {
    const int hours = DaylightNow() ? 4 : 5;
    EXPECT_EQ(ToLocal(At(2003, 11, 3, 3)), At(2003, 11, 2, 24 + 3 - hours));
    EXPECT_EQ(ToUtc(At(2003, 11, 3, 20)), At(2003, 11, 3, 20 + hours));
  });
}

TEST(TimeZone, ZoneWithoutDaylightTimeUsesItsBias) {
  InZone("Asia/Kolkata", [] {
    EXPECT_EQ(ToLocal(At(2003, 6, 1, 0)), At(2003, 6, 1, 5, 30));
    EXPECT_EQ(ToUtc(At(2003, 6, 1, 5, 30)), At(2003, 6, 1, 0));
  });
}

}  // namespace
}  // namespace orbitel::site
