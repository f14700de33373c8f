// The shared date and text helpers, and the per-thread time-zone conversion under real zones.
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <thread>
#include <tuple>

#include "runtime/Conversions.h"
#include "site/DateHelpers.h"
#include "site/TimeZone.h"

namespace orbitel::site {
namespace {

Date At(int year, int month, int day, int hour = 0, int minute = 0, int second = 0) {
  return *Date::FromParts(year, month, day)->AddSeconds(hour * 3600 + minute * 60 + second);
}

TEST(DateHelpers, StoreTimesAndPictures) {
  EXPECT_EQ(StoreDateTime(At(2003, 3, 5, 9, 5, 59)), "2003-03-05T09:05:01Z");
  EXPECT_EQ(BusyImage("Yes", "Location", "BUSY", "Room 1"), "images/Location_pix.gif");
  EXPECT_EQ(BusyImage("Yes", "Location", "BUSY", "R"), "images/BUSY_pix.gif");
  EXPECT_EQ(BusyImage("yes", "Location", "BUSY", "Room 1"), "images/BUSY_pix.gif");
}

TEST(DateHelpers, MonthLengthsAndWeekStarts) {
  for (auto [month, year, days] : {std::tuple{2, 2004, 29}, {2, 2003, 28}, {2, 1900, 28}, {2, 2000, 29},
                                   {12, 2003, 31}, {4, 2003, 30}}) {
    EXPECT_EQ(DaysInMonth(month, year), days) << month << "/" << year;
  }
  EXPECT_EQ(WeekStart(At(2003, 11, 9)), At(2003, 11, 3));
  EXPECT_EQ(WeekStart(At(2004, 1, 1, 8, 30)), At(2003, 12, 29, 8, 30));
}

TEST(DateHelpers, HalfHourRoundingKeepsItsGapAt46) {
  const std::pair<int, double> cases[] = {{0, 0}, {15, 0}, {16, 0.5}, {45, 0.5}, {46, 0}, {47, 1}, {59, 1}};
  for (auto [minute, fraction] : cases) EXPECT_EQ(HalfHourFraction(minute), fraction) << minute;
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

// Each zone's offset in force now (the one a thread asks for once) applies to every date, in
// January and July alike. (ctest runs each test in a process of its own: TZ is left as set.)
TEST(TimeZone, RealZonesApplyTodaysOffsetToEveryDate) {
  for (const char* zone : {"Australia/Sydney", "America/New_York", "Asia/Kolkata"}) {
    ::setenv("TZ", zone, 1);
    ::tzset();
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    const int minutes = static_cast<int>(local.tm_gmtoff / 60);
    std::thread([&] {
      for (int month : {1, 7}) {
        EXPECT_EQ(ToLocal(At(2003, month, 15, 12)), At(2003, month, 15, 12, minutes)) << zone << " " << month;
        EXPECT_EQ(ToUtc(At(2003, month, 15, 12, minutes)), At(2003, month, 15, 12)) << zone << " " << month;
      }
    }).join();
  }
}

}  // namespace
}  // namespace orbitel::site
