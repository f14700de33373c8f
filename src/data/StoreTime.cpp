#include "data/StoreTime.h"

#include <cmath>
#include <ctime>

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

UtcSeconds UtcOfLocalParts(int year, int month, int day, int hour, int minute, int second) {
  std::tm parts{};
  parts.tm_year = year - 1900;
  parts.tm_mon = month - 1;
  parts.tm_mday = day;
  parts.tm_hour = hour;
  parts.tm_min = minute;
  parts.tm_sec = second;
  parts.tm_isdst = -1;  // let the zone rules decide whether daylight-saving time applies
  return static_cast<UtcSeconds>(std::mktime(&parts));
}

UtcSeconds UtcOfLocal(Date local) {
  return UtcOfLocalParts(local.Year(), local.Month(), local.Day(), local.Hour(), local.Minute(),
                         local.Second());
}

Date LocalOfUtc(UtcSeconds seconds) {
  const std::time_t moment = static_cast<std::time_t>(seconds);
  std::tm parts{};
  localtime_r(&moment, &parts);
  // Wall-clock parts as a date serial without a zone: the same arithmetic as for UTC.
  const UtcSeconds as_if_utc = static_cast<UtcSeconds>(timegm(&parts));
  return DateOfUtc(as_if_utc);
}

}  // namespace orbitel::data
