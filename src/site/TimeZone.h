#pragma once
// Conversion between the store's UTC times and the server's local time. Each thread asks the C
// library's time zone (TZ) once and keeps the answer: the offset in force at that moment is
// applied to every date, whatever its season, for as long as the thread lives. The team pages
// have always shown times this way; a new thread picks up a changed season.

#include "runtime/Date.h"

namespace orbitel::site {

// The kept time-zone record, in minutes as the store's platform counts them: local time plus
// bias is UTC; during daylight time the bias is bias + daylight_bias.
struct TimeZoneRecord {
  int bias = 0;
  int daylight_bias = 0;
};

// toLocal true: from UTC to local time; false: from local time to UTC.
Date ConvertTimeZone(Date date, bool to_local);
inline Date ToLocal(Date date) { return ConvertTimeZone(date, true); }
inline Date ToUtc(Date date) { return ConvertTimeZone(date, false); }

// Replaces the calling thread's kept record and result (1 standard time, 2 daylight time,
// 0 unknown: asked again on the next conversion). For tests and for a thread that must
// see a changed TZ.
void KeepTimeZoneForThread(TimeZoneRecord record, int result);

}  // namespace orbitel::site
