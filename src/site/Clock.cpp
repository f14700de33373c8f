#include "site/Clock.h"

#include <atomic>
#include <mutex>

namespace orbitel::site {

namespace {
thread_local std::optional<Date> fixed_now;

std::atomic<bool> process_fixed{false};
std::mutex process_mutex;
std::optional<Date> process_now;
}  // namespace

Date Now() {
  if (fixed_now) return *fixed_now;
  if (process_fixed) {
    std::lock_guard lock(process_mutex);
    if (process_now) return *process_now;
  }
  return Date::Now();
}

Date Today() { return Now().DatePart(); }

void FixClockForThread(std::optional<Date> now) { fixed_now = now; }

void FixClockForProcess(std::optional<Date> now) {
  std::lock_guard lock(process_mutex);
  process_now = now;
  process_fixed = now.has_value();
}

}  // namespace orbitel::site
