// The local-time conversions against the C library's own, in zones with hour, half-hour and
// odd offsets and their daylight-saving changes, across a century and a half: the per-thread
// offset memory must never give a different answer, nor keep one after TZ changes.
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <random>

#include "store/StoreTime.h"

namespace orbitel::data {
namespace {

UtcSeconds LibraryWall(UtcSeconds utc) {
  const std::time_t moment = static_cast<std::time_t>(utc);
  std::tm parts{};
  localtime_r(&moment, &parts);
  return timegm(&parts);
}

// Every zone in one run, so that no answer remembered in one zone outlives the change of TZ.
TEST(StoreTime, AgreesWithTheCLibraryInEveryZone) {
  for (const char* zone : {"America/New_York", "Australia/Lord_Howe", "Asia/Kathmandu", "Europe/London", "UTC"}) {
    setenv("TZ", zone, 1);
    tzset();
    std::mt19937_64 random(20261123);
    // 1901 to 2037, denser around the present.
    std::uniform_int_distribution<UtcSeconds> century(-2177452800, 2145916800), recent(946684800, 1893456000);
    for (int i = 0; i < 4000; ++i) {
      const UtcSeconds start = i % 2 ? century(random) : recent(random);
      // A run of nearby moments, so most fall in a quarter hour already remembered.
      for (UtcSeconds utc = start; utc < start + 4000; utc += 333) {
        ASSERT_EQ(UtcOfDate(LocalOfUtc(utc)), LibraryWall(utc)) << zone << " at " << utc;
        // Wall-clock times that exist once (not skipped, not repeated) go back to the same moment.
        const UtcSeconds wall = LibraryWall(utc);
        bool repeated = false;
        for (UtcSeconds shift : {-3600, -1800, 1800, 3600}) repeated |= LibraryWall(utc + shift) == wall;
        if (repeated) continue;
        const Date local = DateOfUtc(wall);
        ASSERT_EQ(UtcOfLocalParts(local.Year(), local.Month(), local.Day(), local.Hour(), local.Minute(),
                                  local.Second()),
                  utc)
            << zone << " at " << utc;
      }
    }
  }
}

TEST(StoreTime, PartsOutOfRangeCarryAsMktimeCarriesThem) {
  setenv("TZ", "America/New_York", 1);
  tzset();
  EXPECT_EQ(UtcOfLocalParts(2026, 13, 1, 0, 0, 0), UtcOfLocalParts(2027, 1, 1, 0, 0, 0));
  EXPECT_EQ(UtcOfLocalParts(2026, 3, 0, 24, 0, 0), UtcOfLocalParts(2026, 3, 1, 0, 0, 0));
  EXPECT_EQ(UtcOfLocalParts(2026, 1, 1, 0, 0, -1), UtcOfLocalParts(2025, 12, 31, 23, 59, 59));
}

}  // namespace
}  // namespace orbitel::data
