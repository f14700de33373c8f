#pragma once
// Moments as the local store keeps and compares them: whole seconds since 1970-01-01 UTC, so
// the period query's bounds are integer comparisons the index can range-scan. The conversions
// to and from the server's local time use the C library (mktime/localtime_r), so they follow
// the TZ the server runs with.

#include <cstdint>

#include "runtime/Date.h"

namespace orbitel::data {

using UtcSeconds = std::int64_t;

// The UTC moment as a runtime Date and back (rounded to the second).
Date DateOfUtc(UtcSeconds seconds);
UtcSeconds UtcOfDate(Date utc);

// A wall-clock time of the server's zone as UTC; a time skipped by a daylight-saving change
// moves forward as mktime moves it.
UtcSeconds UtcOfLocal(Date local);
UtcSeconds UtcOfLocalParts(int year, int month, int day, int hour, int minute, int second);
// The server's wall-clock time of a UTC moment.
Date LocalOfUtc(UtcSeconds seconds);

}  // namespace orbitel::data
