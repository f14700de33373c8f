#include "site/TimeZone.h"

#include <cstdlib>
#include <ctime>
#include <limits>
#include <string>

namespace orbitel::site {

namespace {

// 0: never asked, or the zone has no daylight time (asked again next time, harmlessly).
thread_local TimeZoneRecord kept_record;
thread_local int kept_result = 0;

int OffsetMinutesAt(std::time_t moment, bool* daylight) {
  std::tm local{};
  localtime_r(&moment, &local);
  if (daylight) *daylight = local.tm_isdst > 0;
  return static_cast<int>(local.tm_gmtoff / 60);
}

// Reads the zone the way the store's platform reports it: the standard bias, the extra bias of
// daylight time, and which of the two is in force now.
int AskTimeZone(TimeZoneRecord& record) {
  tzset();
  const std::time_t now = std::time(nullptr);
  bool daylight_now = false;
  const int offset_now = OffsetMinutesAt(now, &daylight_now);

  // Look through the coming year, a fortnight at a time, for the other season's offset.
  int standard_offset = daylight_now ? std::numeric_limits<int>::min() : offset_now;
  int daylight_offset = daylight_now ? offset_now : std::numeric_limits<int>::min();
  for (int step = 1; step <= 27; ++step) {
    bool daylight = false;
    int offset = OffsetMinutesAt(now + static_cast<std::time_t>(step) * 14 * 86400, &daylight);
    if (daylight && daylight_offset == std::numeric_limits<int>::min()) daylight_offset = offset;
    if (!daylight && standard_offset == std::numeric_limits<int>::min()) standard_offset = offset;
  }
  if (standard_offset == std::numeric_limits<int>::min()) standard_offset = offset_now - 60;

  record.bias = -standard_offset;
  if (daylight_offset == std::numeric_limits<int>::min()) {
    record.daylight_bias = 0;
    return 0;
  }
  record.daylight_bias = -(daylight_offset - standard_offset);
  return daylight_now ? 2 : 1;
}

// The system's answer, remembered by the thread for the quarter hour it was given in and the TZ
// it was given under: a zone without daylight time answers "unknown", so it is asked on every
// conversion, and each asking looks a year ahead through the zone's rules.
int AskTimeZoneQuickly(TimeZoneRecord& record) {
  thread_local std::time_t asked_in = -1;
  thread_local std::string asked_under;
  thread_local TimeZoneRecord answer_record;
  thread_local int answer = 0;
  const std::time_t quarter = std::time(nullptr) / 900;
  const char* tz = std::getenv("TZ");
  const std::string zone = tz ? std::string("TZ=") + tz : std::string();
  if (quarter != asked_in || zone != asked_under) {
    answer = AskTimeZone(answer_record);
    asked_in = quarter;
    asked_under = zone;
  }
  record = answer_record;
  return answer;
}

}  // namespace

Date ConvertTimeZone(Date date, bool to_local) {
  if (kept_result == 0) kept_result = AskTimeZoneQuickly(kept_record);
  long long offset = kept_record.bias;
  if (kept_result > 1) offset += kept_record.daylight_bias;
  const int minutes = static_cast<int>(to_local ? -offset : offset);
  return date.AddMinutes(minutes).value_or(date);
}

void KeepTimeZoneForThread(TimeZoneRecord record, int result) {
  kept_record = record;
  kept_result = result;
}

}  // namespace orbitel::site
