#include "site/Clock.h"

namespace orbitel::site {

namespace {
thread_local std::optional<Date> fixed_now;
}

Date Now() { return fixed_now ? *fixed_now : Date::Now(); }

Date Today() { return Now().DatePart(); }

void FixClockForThread(std::optional<Date> now) { fixed_now = now; }

}  // namespace orbitel::site
