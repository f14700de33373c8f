#include "store/StoreTime.h"

#include <array>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <string>

namespace orbitel::data {
namespace {

constexpr double kUnixEpochSerial = 25569;  // 1970-01-01 as a runtime date serial
constexpr double kSecondsPerDay = 86400;

}  // namespace

// Built as the day's serial plus the time's fraction, the way dates parsed from the period
// query's text are, so a stored time equal to a query bound compares equal to it.
Date DateOfUtc(UtcSeconds seconds) {
  UtcSeconds days = seconds / 86400;
  if (seconds % 86400 < 0) --days;
  const double day_serial = kUnixEpochSerial + static_cast<double>(days);
  const double time = static_cast<double>(seconds - days * 86400) / kSecondsPerDay;
  // Before 1899-12-30 serials are negative and their fraction still counts forward.
  return Date(day_serial >= 0 ? day_serial + time : day_serial - time);
}

UtcSeconds UtcOfDate(Date utc) {
  const double day = std::trunc(utc.serial());
  const double time = std::fabs(utc.serial() - day);
  return static_cast<UtcSeconds>(day - kUnixEpochSerial) * 86400 +
         static_cast<UtcSeconds>(std::llround(time * kSecondsPerDay));
}

namespace {

// Whole days since 1970-01-01 of a civil date and back (proleptic Gregorian), without the C
// library: its conversions all take one process-wide lock, which a page's thousands of them
// would queue on.
std::int64_t DaysFromCivil(std::int64_t year, int month, int day) {
  year -= month <= 2;
  const std::int64_t era = (year >= 0 ? year : year - 399) / 400;
  const std::int64_t year_of_era = year - era * 400;
  const std::int64_t day_of_year = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
  const std::int64_t day_of_era = year_of_era * 365 + year_of_era / 4 - year_of_era / 100 + day_of_year;
  return era * 146097 + day_of_era - 719468;
}

std::int64_t FloorDiv(std::int64_t a, std::int64_t b) { return a / b - (a % b != 0 && (a < 0) != (b < 0)); }

// A wall-clock reading as seconds counted as if it were UTC; out-of-range parts carry over as
// mktime carries them.
UtcSeconds WallSeconds(int year, int month, int day, int hour, int minute, int second) {
  const std::int64_t months = static_cast<std::int64_t>(year) * 12 + (month - 1);
  const std::int64_t whole_years = FloorDiv(months, 12);
  const int month_of_year = static_cast<int>(months - whole_years * 12) + 1;
  const std::int64_t days = DaysFromCivil(whole_years, month_of_year, 1) + (day - 1);
  return days * 86400 + std::int64_t{hour} * 3600 + std::int64_t{minute} * 60 + second;
}

UtcSeconds MktimeOfWall(UtcSeconds wall) {
  const std::time_t moment = static_cast<std::time_t>(wall);
  std::tm parts{};
  gmtime_r(&moment, &parts);
  parts.tm_isdst = -1;  // let the zone rules decide whether daylight-saving time applies
  return static_cast<UtcSeconds>(std::mktime(&parts));
}

UtcSeconds WallOfUtc(UtcSeconds seconds) {
  const std::time_t moment = static_cast<std::time_t>(seconds);
  std::tm parts{};
  localtime_r(&moment, &parts);
  return static_cast<UtcSeconds>(timegm(&parts));
}

// The zone's offset (wall minus UTC) per quarter hour, remembered by each thread. A quarter hour
// whose first and last second disagree holds an offset change (or a skipped or repeated local
// time) and is always worked out in full. Emptied when TZ changes; a change of the system's
// zone file is seen by threads started after it.
class OffsetCache {
 public:
  // `exact` works out one second in full; `offset_of` gives the offset at a second of the bucket.
  template <class Exact, class Offset>
  UtcSeconds Convert(UtcSeconds seconds, Exact exact, Offset offset_of) {
    ForgetOnZoneChange();
    const std::int64_t bucket = FloorDiv(seconds, kBucket);
    Slot& slot = slots_[static_cast<std::size_t>(bucket) % slots_.size()];
    if (!slot.filled || slot.bucket != bucket) {
      const std::int64_t first = offset_of(bucket * kBucket);
      slot = Slot{true, bucket, first, first == offset_of(bucket * kBucket + kBucket - 1)};
    }
    return slot.uniform ? seconds + slot.offset : exact(seconds);
  }

 private:
  static constexpr std::int64_t kBucket = 900;
  struct Slot {
    bool filled = false;
    std::int64_t bucket = 0;
    std::int64_t offset = 0;
    bool uniform = false;
  };

  void ForgetOnZoneChange() {
    const char* tz = std::getenv("TZ");
    if (used_ && (tz ? has_tz_ && zone_ == tz : !has_tz_)) return;
    used_ = true;
    has_tz_ = tz != nullptr;
    zone_ = tz ? tz : "";
    slots_.fill(Slot{});
  }

  bool used_ = false;
  bool has_tz_ = false;
  std::string zone_;
  std::array<Slot, 512> slots_{};
};

}  // namespace

UtcSeconds UtcOfLocalParts(int year, int month, int day, int hour, int minute, int second) {
  thread_local OffsetCache cache;
  // Here the offset kept is UTC minus wall-clock time.
  return cache.Convert(WallSeconds(year, month, day, hour, minute, second), MktimeOfWall,
                       [](UtcSeconds wall) { return MktimeOfWall(wall) - wall; });
}

UtcSeconds UtcOfLocal(Date local) {
  return UtcOfLocalParts(local.Year(), local.Month(), local.Day(), local.Hour(), local.Minute(),
                         local.Second());
}

Date LocalOfUtc(UtcSeconds seconds) {
  thread_local OffsetCache cache;
  // Wall-clock parts as a date serial without a zone: the same arithmetic as for UTC.
  return DateOfUtc(cache.Convert(seconds, WallOfUtc, [](UtcSeconds utc) { return WallOfUtc(utc) - utc; }));
}

}  // namespace orbitel::data
